// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <expat.h>

#include <memory>
#include <new>
#include <type_traits>

namespace opc::detail {

struct ExpatDeleter {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using ExpatParser = std::unique_ptr<std::remove_pointer_t<XML_Parser>, ExpatDeleter>;

/// @param parser a new one, or null when there was no memory for it.
/// @throws std::bad_alloc
inline ExpatParser ownExpatParser(XML_Parser parser) {
    if (parser == nullptr)
        throw std::bad_alloc();
    return ExpatParser(parser);
}

} // namespace opc::detail
