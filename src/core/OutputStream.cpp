// SPDX-License-Identifier: Apache-2.0
#include <opc/core/OutputStream.hpp>

namespace opc {

OutputStream::~OutputStream() = default;

} // namespace opc
