// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/model/coreproperties/CoreProperties.hpp>

#include <array>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace opc::model {

/// The getter and setter of one property of `CoreProperties`.
template <class Value>
struct CorePropertyAccess {
    using Type = Value;

    std::optional<Value> (CoreProperties::*get)() const;
    void (CoreProperties::*set)(const Value&);
};

/// One of the fifteen core properties (ECMA-376-2 §8), for code that treats them alike.
struct CoreProperty {
    using Text = CorePropertyAccess<std::u16string>;
    using Time = CorePropertyAccess<boost::posix_time::ptime>;
    using Keywords = CorePropertyAccess<std::vector<CoreProperties::Keyword>>;

    const char* name;             ///< the local name of its element, "lastModifiedBy"
    const char16_t* namespaceURI; ///< of its element
    std::variant<Text, Time, Keywords> access;
};

/// All of them in the order of their names, as in a part. May be called from any thread.
OPCRAFT_API const std::array<CoreProperty, 15>& getAllCoreProperties() noexcept;

} // namespace opc::model
