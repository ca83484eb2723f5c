// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <string>
#include <string_view>

namespace opc::detail {

/// The name of a stored item as a URI, which is the part name of the item if it is one: a "/" before it, and what is
/// not allowed in a path percent-encoded (ECMA-376-2 §7.3.4). Percent-escapes are kept.
/// @param itemName UTF-8.
OPCRAFT_API std::u16string toItemURI(std::string_view itemName);

} // namespace opc::detail
