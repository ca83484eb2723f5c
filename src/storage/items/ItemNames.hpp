// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/PartNames.hpp>

#include <optional>
#include <string>
#include <string_view>

/// How the names of ZIP items and part names map to each other (ECMA-376-2 §7.3.4). Pure functions.
namespace opc::storage {

/// The item that holds the content types stream (ECMA-376-2 §7.3.7).
inline constexpr std::string_view CONTENT_TYPES_ITEM = "[Content_Types].xml";

/// Whether a name can be that of an item: it is UTF-8.
bool isUTF8(std::string_view name);

/// True for the item that holds the content types stream, in whatever case it is written.
bool isContentTypesItem(std::string_view itemName);

/// The part name of an item: a "/" before the item name, and what is not allowed in a part name percent-encoded.
/// @param itemName UTF-8.
/// @return nothing for an item that cannot be a part.
std::optional<std::u16string> toPartName(std::string_view itemName);

/// The first rule for part names that an item breaks by its name; nothing when `toPartName` returns a name.
std::optional<detail::PartNameRule> findPartNameRule(std::string_view itemName);

/// Why an item cannot be a part by its name, for which `toPartName` returns nothing: "a backslash in the name".
std::string explainItemName(std::string_view itemName);

/// The item name of a new part.
/// @return nothing when that item would not map back to this part.
std::optional<std::string> toItemName(std::u16string_view partName);

} // namespace opc::storage
