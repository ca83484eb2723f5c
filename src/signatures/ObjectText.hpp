// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace opc::model {

/// What of an object's text is digested: all but the first declaration of the XML-DSig namespace, which the text of an
/// object that was taken out of its signature has and that of one that is being made has not.
std::u16string toDigestedText(std::u16string xmlText);

} // namespace opc::model
