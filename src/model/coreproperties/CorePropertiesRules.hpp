// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/dom/DOMLSParser.hpp>

namespace opc::model {

/// Enforces the rules that the schema of core properties does not, [M4.2] to [M4.5], in that order.
/// @param parser the one that read the document.
/// @throws InvalidPartContent
void throwIfRuleIsBroken(const xercesc::DOMLSParser& parser, const xercesc::DOMElement* root);

} // namespace opc::model
