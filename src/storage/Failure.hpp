// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/system/error_code.hpp>

#include <string>
#include <string_view>

namespace opc::storage {

using Errc = boost::system::errc::errc_t;

/// Throws `opc::Exception` with a code of the generic category.
[[noreturn]] void fail(Errc code, const std::string& message);

/// Throws `opc::Exception` for `errno`; the message ends with the text of the system.
[[noreturn]] void failWithErrno(int number, const std::string& message);

/// A name from a file, in quotes and on one line: control characters are percent-encoded.
std::string inQuotes(std::string_view name);

} // namespace opc::storage
