// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

struct zip_error;

namespace opc::storage {

/// Throws what a failure of libzip means: `opc::Exception` with a code of the generic category, or std::bad_alloc.
[[noreturn]] void failWithZipError(const zip_error& error, const std::string& label);

} // namespace opc::storage
