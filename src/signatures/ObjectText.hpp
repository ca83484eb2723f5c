// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "signatures/SignatureFormRules.hpp"

#include <string>

namespace opc::model {

/// The text of an object that is digested in the library's form: without the first declaration of the XML-DSig
/// namespace, which serializing an object of a stored signature adds.
std::u16string toDigestedText(std::u16string xmlText);

} // namespace opc::model
