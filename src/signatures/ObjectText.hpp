// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "signatures/SignatureFormRules.hpp"

#include <functional>
#include <string_view>

namespace opc::model {

/// Calls a function with the text of an object that is digested in the library's form, block by block: without the
/// first declaration of the XML-DSig namespace, which serializing an object of a stored signature adds.
/// @param take gets UTF-8.
/// @throws opc::Exception for an unpaired surrogate.
void forEachDigestedBlock(std::u16string_view xmlText, const std::function<void(std::string_view)>& take);

} // namespace opc::model
