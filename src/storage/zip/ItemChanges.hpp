// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/zip/ZipWriter.hpp"

#include <opc/core/interfaces/IPhysicalItems.hpp>

#include <string>
#include <vector>

namespace opc::storage {

class ReadLimits;
class ZipArchive;

/// What a save has to do to change the items of an archive.
/// @param label of the package, for messages.
/// @throws opc::Exception as `IPhysicalItems::changeItems` for changes that cannot be made.
ZipChanges toZipChanges(const std::vector<interfaces::IPhysicalItems::Change>& changes, const ZipArchive& archive,
                        const ReadLimits& limits, const std::string& label);

} // namespace opc::storage
