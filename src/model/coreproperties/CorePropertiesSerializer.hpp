// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/InputStream.hpp>
#include <opc/core/OutputStream.hpp>
#include <opc/model/coreproperties/CoreProperties.hpp>
#include <opc/model/coreproperties/CoreProperty.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <set>
#include <vector>

namespace opc::model {

/// Reads and writes a core properties part (ECMA-376-2 §8) and enforces its rules [M4.2] to [M4.5]. For a single use.
class CorePropertiesSerializer {
public:
    /// @throws InvalidXMLSchema when an embedded schema does not load.
    explicit CorePropertiesSerializer(const Limits& limits = {});

    /// Replaces the properties. They are cleared when the part is valid by its schema but breaks a rule.
    /// @throws InvalidPartContent
    void load(InputStream& stream, CoreProperties& properties);

    /// Nothing is written when this throws.
    /// @throws InvalidPartContent
    void save(const CoreProperties& properties, OutputStream& stream);

    /// Gives some properties of a part other values and keeps all else in it. Nothing is written when this throws.
    /// @return false when they have these values already; then nothing is written either.
    /// @throws InvalidPartContent for the part, or for the values.
    bool update(const std::vector<unsigned char>& part, const CoreProperties& properties,
                const std::set<const CoreProperty*>& changed, OutputStream& stream);

private:
    XercesGuard guard_;
    Limits limits_;
    ParserHandle parser_;
    WriterHandle writer_;
};

} // namespace opc::model
