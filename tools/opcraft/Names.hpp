// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/ContentType.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/URI.hpp>
#include <opc/storage/zip/ZipItem.hpp>

#include <cstddef>
#include <string>
#include <vector>

/// Converts arguments of the command line to names and texts of the library. Every function throws a `Failure` for
/// wrong usage when its argument is not UTF-8.
namespace opcraft {

/// The paragraph of the help on part names.
extern const char* const PART_NAME_HELP;

std::u16string toUtf16(const std::string& argument);

/// A part name, or "/" for the package. A missing leading slash is added, and characters that a part name cannot hold
/// are percent-encoded; escapes are kept.
/// @throws Failure for wrong usage when the name breaks a part-name rule.
opc::model::PartName toPartName(const std::string& argument);

/// The same for a part only.
/// @throws Failure for wrong usage also for "/".
opc::model::PartName toPartNameOfPart(const std::string& argument);

/// @throws Failure for wrong usage when it is not a content type.
opc::model::ContentType toContentType(const std::string& argument);

/// The same for a part of a user's, which is no relationships part (ECMA-376-2 §6.5.2).
opc::model::ContentType toContentTypeOfPart(const std::string& argument);

/// A relationship target as a URI reference: characters that no URI holds are percent-encoded; "#" starts a fragment,
/// "?" a query.
/// @throws Failure for wrong usage when it is not a URI reference.
opc::model::URI toTarget(const std::string& argument);

/// The positions of the items that a name on the command line may mean: those that the first of these rules finds that
/// finds any. The exact item name, with or without a leading slash; the same part name; the same name with all escapes
/// decoded.
std::vector<std::size_t> findItems(const std::vector<opc::storage::ZipItem>& items, const std::string& argument);

/// "; did you mean "/word/document.xml"?" for a name that is that of no item, or advice where to find the names.
std::string suggestItem(const std::vector<opc::storage::ZipItem>& items, const std::string& argument);

/// The positions of the items that have the part name of a certain one, or would have it.
std::vector<std::size_t> findSameNames(const std::vector<opc::storage::ZipItem>& items, std::size_t position);

} // namespace opcraft
