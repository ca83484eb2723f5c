// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Bytes.hpp"

#include <functional>
#include <string>
#include <string_view>

/// Recognizes formats of files that are taken for packages, for the messages that refuse them. It uses well-known
/// signatures and names; nothing in a file is trusted.
namespace opc::storage {

/// An OLE2 compound file: "an OLE2 compound file (an encrypted Office document), not a package"; empty for any other
/// file. Office programs open a file with this header as such a document, whatever follows.
std::string explainCompoundFile(const Bytes& file);

/// A file that is not a ZIP file: "a PDF document, not a package".
std::string explainOtherFile(const Bytes& file);

/// A ZIP file that is an archive of another format at the same time: "a tar archive"; empty for any other file.
/// Programs that find out the format of an archive by themselves prefer that one.
std::string explainPolyglot(const Bytes& file);

/// A ZIP file without a content types stream: "a Java archive (JAR)"; empty for one of no known format.
/// @param hasItem whether the file has an item of a name.
/// @param mediaType the content of the item "mimetype"; empty when there is none.
std::string findOtherZip(const std::function<bool(std::string_view)>& hasItem, std::string_view mediaType);

} // namespace opc::storage
