// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace opc::model {

/// @throws InvalidXMLDocument naming the first character that XML 1.0 §2.2 excludes: a control character but tab, line
///         feed and carriage return, U+FFFE, U+FFFF, or an unpaired surrogate.
void throwIfNotXmlText(std::u16string_view text);

} // namespace opc::model
