// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"

#include <opc/storage/zip/ZipItem.hpp>

#include <cstddef>
#include <string>
#include <vector>

/// The items of a package that a command line names.
namespace opcraft {

/// Opens only what the package is stored in, so that an item of a damaged package can be read.
/// @throws Failure
void openItems(PackageInput& input, const InputOptions& options, FindingList& findings);

/// Which items a pattern may mean.
enum class Matched { Parts, All };

/// The items that arguments name: each one item, or as a pattern any number of them, in the order of the file.
/// @param findings of the open: without any, no two items have the same name.
/// @return their positions.
/// @throws Failure when an argument names no item, or several.
std::vector<std::size_t> selectItems(const InputOptions& options, const std::vector<std::string>& arguments,
                                     const std::vector<opc::storage::ZipItem>& items, const FindingList& findings,
                                     Matched matched = Matched::All);

} // namespace opcraft
