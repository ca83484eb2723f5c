// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Exception.hpp>

namespace opc {

Exception::Exception(const std::string& message, const boost::system::error_code& code)
    : std::runtime_error(message), code_(code) {}

Exception::~Exception() = default;

} // namespace opc
