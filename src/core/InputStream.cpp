// SPDX-License-Identifier: Apache-2.0
#include <opc/core/InputStream.hpp>

namespace opc {

InputStream::~InputStream() = default;

} // namespace opc
