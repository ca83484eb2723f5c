// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "signatures/SignatureFormRules.hpp"

#include <string>
#include <string_view>

namespace opc::model {

/// The text of an object that is digested in the library's form: without the first declaration of the XML-DSig
/// namespace, which serializing an object of a stored signature adds.
/// @return UTF-8.
/// @throws opc::Exception for an unpaired surrogate.
std::string toDigestedText(std::u16string_view xmlText);

} // namespace opc::model
