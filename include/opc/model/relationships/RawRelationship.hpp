// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace opc::model {

/// An entry of a relationships part that is no relationship, because something in it is wrong or its Id is not unique.
/// A package that was opened with a sink for findings keeps it as it stands.
///
/// A plain value. Attributes are empty where the element has none.
struct RawRelationship {
    std::u16string id;
    std::u16string type;
    std::u16string target;
    std::u16string targetMode;
    std::string text;         ///< the XML of the element as it is kept, UTF-8
    std::uint64_t line = 0;   ///< in the relationships part as it was read, the first being 1
    std::uint64_t column = 0; ///< in UTF-16 units, the first being 1: after the start tag
    std::string reason{};     ///< why it is no relationship; UTF-8
};

} // namespace opc::model
