// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>

namespace opc::crypto {

/// The size of a key is not supported.
class OPCRAFT_API UnsupportedKeySize : public Exception {
public:
    explicit UnsupportedKeySize(const std::string& message);
    ~UnsupportedKeySize() override;
};

} // namespace opc::crypto
