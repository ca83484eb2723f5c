// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/coreproperties/CoreProperties.hpp>

#include <array>
#include <string>
#include <variant>

namespace opcraft {

/// How the value class gives and takes one property.
template <class Value>
struct PropertyAccess {
    using Type = Value;

    std::optional<Value> (opc::model::CoreProperties::*get)() const;
    void (opc::model::CoreProperties::*set)(const Value&);
};

using TextAccess = PropertyAccess<std::u16string>;
using TimeAccess = PropertyAccess<boost::posix_time::ptime>;
using KeywordsAccess = PropertyAccess<std::vector<opc::model::CoreProperties::Keyword>>;

/// One of the fifteen core properties.
struct Property {
    const char* name; ///< the local name of its element
    std::variant<TextAccess, TimeAccess, KeywordsAccess> access;
};

/// In the order of their names.
extern const std::array<Property, 15> allProperties;

/// Null when there is no property of that name.
const Property* findProperty(const std::string& name);

/// Sets a property to what it is elsewhere; nothing when it is absent there.
void copyProperty(const Property& property, const opc::model::CoreProperties& from, opc::model::CoreProperties& to);

bool isSame(const opc::model::CoreProperties& a, const opc::model::CoreProperties& b);

} // namespace opcraft
