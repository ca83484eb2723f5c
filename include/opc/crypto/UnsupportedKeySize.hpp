// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>

namespace opc::crypto {

/// An RSA key has neither 1024, 2048 nor 4096 bits.
class OPCRAFT_API UnsupportedKeySize : public Exception {
public:
    explicit UnsupportedKeySize(const std::string& message);
    ~UnsupportedKeySize() override;
};

} // namespace opc::crypto
