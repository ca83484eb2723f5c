// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>
#include <opc/core/PlainXmlWriter.hpp>
#include <opc/model/coreproperties/CoreProperties.hpp>
#include <opc/model/coreproperties/CoreProperty.hpp>

#include "model/Reading.hpp"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace opc::model {

/// Reads and writes a core properties part (ECMA-376-2 §8) and enforces its rules [M4.2] to [M4.5].
class CorePropertiesSerializer {
public:
    explicit CorePropertiesSerializer(const Limits& limits = {}) : limits_(limits) {}

    /// Replaces the properties. They are cleared when the part is valid by its schema but breaks a rule.
    /// @throws InvalidPartContent
    /// @throws InvalidXMLSchema when an embedded schema does not load.
    void load(const std::vector<unsigned char>& bytes, CoreProperties& properties);

    /// As above; what is wrong in a property goes to the sink of `reading`, and the others are read.
    /// @param item the name of the part.
    /// @throws InvalidPartContent for an exceeded limit.
    void load(const std::vector<unsigned char>& bytes, CoreProperties& properties, const Reading& reading,
              const std::string& item);

    /// The bytes of a core properties part.
    /// @throws InvalidPartContent
    std::vector<unsigned char> save(const CoreProperties& properties);

    /// Gives some properties of a part other values and keeps all else in it. Of each of these the part has one element
    /// then, or none.
    /// @param reading where what is wrong in the part goes to.
    /// @return its bytes; none when they have these values already.
    /// @throws InvalidPartContent for the part, or for the values.
    std::optional<std::vector<unsigned char>> update(const std::vector<unsigned char>& part,
                                                     const CoreProperties& properties,
                                                     const std::set<const CoreProperty*>& changed,
                                                     const Reading& reading, const std::string& item);

private:
    std::vector<unsigned char> save(const CoreProperties& properties, detail::XmlLayout layout);

    Limits limits_;
};

} // namespace opc::model
