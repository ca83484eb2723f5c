// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/coreproperties/CoreProperty.hpp>

#include <string>

namespace opc::model {

/// Sets a property from the text of its element, which for keywords is all that the element holds. A time that the time
/// type cannot hold leaves the property absent.
void setFromText(CoreProperties& properties, const CoreProperty& property, const std::u16string& text);

} // namespace opc::model
