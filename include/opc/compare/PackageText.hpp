// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/compare/Compare.hpp>

#include <functional>
#include <string_view>

namespace opc::compare {

/// Writes a package as text that line differences can be made of, such as those of a version control system: the
/// relationships of the package; each part in the order of the names, with its content type, its relationships in the
/// order of their Ids, and its content: printed XML (`printPretty`), or the size and SHA-256 digest of anything else;
/// and the stored items that are no parts, in the same way, where the store implements `interfaces::IPhysicalItems`.
/// Equal packages give equal texts, whatever their files are called and however they are compressed.
///
/// XML that cannot be read to its end is followed by a line that tells why, and by the digest. Memory is constant but
/// for the names and the relationships.
/// @param write takes each line, in UTF-8, without its end.
/// @throws opc::Exception what the package and its store throw when they are read; and what `write` throws.
OPCRAFT_API void writeText(const ComparedPackage& package, const std::function<void(std::string_view line)>& write);

} // namespace opc::compare
