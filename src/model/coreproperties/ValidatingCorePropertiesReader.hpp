// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>
#include <opc/model/coreproperties/CoreProperties.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <vector>

namespace opc::model {

/// Reads core properties parts with a validating parser, which says what is wrong with one and where.
class ValidatingCorePropertiesReader {
public:
    /// @throws InvalidXMLSchema when an embedded schema does not load.
    explicit ValidatingCorePropertiesReader(const Limits& limits);

    /// Replaces the properties. They are cleared when the part is valid by its schema but breaks a rule.
    /// @throws InvalidPartContent
    void read(const std::vector<unsigned char>& bytes, CoreProperties& properties);

private:
    XercesGuard guard_;
    ParserHandle parser_;
};

} // namespace opc::model
