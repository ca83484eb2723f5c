// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace opc {

/// The place of an error in an item of a package. Unknown fields are 0 or empty. All texts are UTF-8.
///
/// A value without invariants.
struct ErrorPlace {
    std::string item;         ///< the part name, or the name of an item that is not a part, as "[Content_Types].xml"
    std::uint64_t line = 0;   ///< in the XML of the item, the first being 1
    std::uint64_t column = 0; ///< in UTF-16 units, the first being 1: after the tag or the text that is wrong
    std::string element;      ///< the name of the element as it is written; where its tag cannot be read, of its parent
    std::string attribute;    ///< the name of the attribute, when a single one is wrong
    std::string value;        ///< of the attribute, or the text of the element
    std::string id;           ///< the Id of the element: in a relationships part, of the relationship
    std::string reason;       ///< the message of the error without the item, where the item is known
};

} // namespace opc
