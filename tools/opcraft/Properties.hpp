// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"

#include <opc/model/coreproperties/CoreProperty.hpp>

#include <optional>
#include <string>
#include <vector>

namespace opcraft {

using opc::model::CoreProperty;

/// Null when no property has that name.
const CoreProperty* findProperty(const std::string& name);

/// A relationship of the package to core properties, of the type of the standard or of one that other programs write.
struct CorePropertiesEntry {
    std::string id;
    std::string target; ///< the name of the part; without a part, the target as stored
    std::string type;
    std::optional<opc::model::Part> part; ///< none when the relationship leads to no part that exists
    bool isStandard = false;
};

/// In the order of their precedence: the first leads to the properties that are shown and changed.
std::vector<CorePropertiesEntry> findCoreProperties(OpenPackage& package);

/// @throws Failure when the part holds core properties, whose content type is their own (ECMA-376-2 §8), and the new
///         one is another.
void throwIfCoreProperties(OpenPackage& package, const opc::model::PartName& name,
                           const opc::model::ContentType& newType);

/// @throws Failure for a relationship to core properties that leads to a part of another content type.
void throwIfNoCoreProperties(OpenPackage& package, const opc::model::Relationship& relationship);

/// The error of a relationship without a part.
Failure leadsNowhere(const OpenPackage& package, const CorePropertiesEntry& entry);

/// Text that a core properties part has for a property and its value does not: a date that the time type cannot
/// represent, or text beside a comment, a CDATA section or a keyword.
struct UnreadText {
    const CoreProperty* property;
    std::u16string text; ///< all text of the element
};

/// The core properties of a package, as they are stored.
struct StoredProperties {
    std::string part; ///< the name of the part; empty when the package has none
    std::vector<CorePropertiesEntry> entries;
    opc::model::CoreProperties values;
    std::vector<UnreadText> unread; ///< in no value, or not wholly
};

/// @param findings receives what is wrong in the part, of which the rest is read; null: it is thrown.
/// @throws Failure naming the part and, where the part is invalid, the element.
StoredProperties readProperties(OpenPackage& package, FindingList* findings = nullptr);

} // namespace opcraft
