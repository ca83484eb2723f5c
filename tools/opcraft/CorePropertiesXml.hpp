// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Properties.hpp"

#include <string>
#include <vector>

namespace opcraft {

/// What a core properties part holds for a property and its read value does not: a date that the time type cannot
/// hold, or a text beside a comment, a CDATA section or a keyword.
struct UnreadText {
    const Property* property;
    std::u16string text; ///< all text of the element
};

/// What would be lost if a part were written anew from the values that were read from it.
/// @param part the bytes of the part, which could be read.
std::vector<UnreadText> findUnread(const std::vector<unsigned char>& part, const opc::model::CoreProperties& values);

} // namespace opcraft
