// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <vector>

namespace opc::crypto {

/// Bytes that are overwritten before their memory is given back: the encoding of a private key.
///
/// Owns its bytes. It can be moved, not copied, so that there is one place to wipe. Used by one thread at a time.
class OPCRAFT_API SecretBytes {
public:
    SecretBytes() = default;
    /// Takes the bytes over. Pass them with `std::move`; a vector that is copied stays as it is.
    explicit SecretBytes(std::vector<unsigned char> bytes) noexcept;
    SecretBytes(SecretBytes&& other) noexcept;
    SecretBytes& operator=(SecretBytes&& other) noexcept;
    ~SecretBytes();

    SecretBytes(const SecretBytes&) = delete;
    SecretBytes& operator=(const SecretBytes&) = delete;

    /// The bytes, as functions take them that expect a key. They live as long as this object.
    const std::vector<unsigned char>& get() const noexcept { return bytes_; }

private:
    std::vector<unsigned char> bytes_;
};

/// Overwrites the bytes and leaves the vector empty. For copies of private keys that a caller holds.
OPCRAFT_API void wipe(std::vector<unsigned char>& bytes) noexcept;

} // namespace opc::crypto
