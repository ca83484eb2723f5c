// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/PartName.hpp>
#include <opc/model/URI.hpp>
#include <opc/storage/zip/ZipItem.hpp>

#include <string>
#include <vector>

/// What users write on the command line, as the names and texts of the library. Every function throws a `Failure`
/// for wrong usage when its text is no UTF-8.
namespace opcraft {

/// What the help says of part names.
extern const char* const PART_NAME_HELP;

std::u16string toUtf16(const std::string& argument);

/// A part name, or "/" for the package. A missing leading slash is added, and what a part name cannot hold is
/// percent-encoded; escapes that are there stay.
/// @throws Failure for wrong usage when the name breaks a part-name rule.
opc::model::PartName toPartName(const std::string& argument);

/// The same, but not of the package.
/// @throws Failure for wrong usage for "/", too.
opc::model::PartName toPartNameOfPart(const std::string& argument);

/// A relationship target as a URI reference: what no URI holds is percent-encoded, "#" and "?" mean what they mean in a
/// URI.
/// @throws Failure for wrong usage when it is no URI reference.
opc::model::URI toTarget(const std::string& argument);

/// The items that a name on the command line may mean. The first of these that finds any decides: the exact
/// item name, with or without a leading slash; the same part name; the same name once all percent-escapes are read.
std::vector<opc::storage::ZipItem> findItems(const std::vector<opc::storage::ZipItem>& items,
                                             const std::string& argument);

} // namespace opcraft
