// SPDX-License-Identifier: Apache-2.0
#include "storage/Failure.hpp"

#include <opc/core/Characters.hpp>
#include <opc/core/Exception.hpp>

namespace opc::storage {

void fail(Errc code, const std::string& message) {
    throw Exception(message, boost::system::errc::make_error_code(code));
}

void failWithErrno(int number, const std::string& message) {
    const boost::system::error_code code(number, boost::system::generic_category());
    throw Exception(message + ": " + code.message(), code);
}

std::string inQuotes(std::string_view name) {
    std::string text = "\"";
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F)
            detail::appendEscape(text, byte);
        else
            text += c;
    }
    return text + '"';
}

} // namespace opc::storage
