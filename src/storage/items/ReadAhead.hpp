// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/items/ItemArchive.hpp"
#include "storage/items/ReadLimits.hpp"
#include "storage/items/ZipItems.hpp"

#include <opc/core/interfaces/IPhysicalParallelReading.hpp>

#include <vector>

namespace opc::storage {

using TakeItem = interfaces::IPhysicalParallelReading::Take;

/// Reads items in several threads, as `IPhysicalParallelReading::readParts` does with parts.
/// @param entries items in one piece; null for what is not read.
void readAhead(std::vector<const ZipEntry*> entries, const ItemArchive& archive, const ReadLimits& limits,
               unsigned threads, const TakeItem& take);

} // namespace opc::storage
