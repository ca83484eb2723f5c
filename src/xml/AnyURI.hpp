// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace opc::model {

/// True when the XML parser takes the text for an xsd:anyURI, white space not collapsed. The empty text is one.
bool isAnyURI(const std::u16string& text);

} // namespace opc::model
