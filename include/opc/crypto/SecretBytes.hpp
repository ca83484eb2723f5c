// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <vector>

namespace opc::crypto {

/// Bytes that are overwritten before their memory is freed, such as the encoding of a private key.
///
/// Owns its bytes. It can be moved but not copied, so that no copy is left unwiped. Used by one thread at a time.
class OPCRAFT_API SecretBytes {
public:
    SecretBytes() = default;
    /// Takes ownership of the bytes. Pass them with `std::move`; the source of a copy is not wiped.
    explicit SecretBytes(std::vector<unsigned char> bytes) noexcept;
    SecretBytes(SecretBytes&& other) noexcept;
    SecretBytes& operator=(SecretBytes&& other) noexcept;
    ~SecretBytes();

    SecretBytes(const SecretBytes&) = delete;
    SecretBytes& operator=(const SecretBytes&) = delete;

    /// The bytes; valid as long as this object.
    const std::vector<unsigned char>& get() const noexcept { return bytes_; }

private:
    std::vector<unsigned char> bytes_;
};

/// Overwrites the bytes and leaves the vector empty. For a caller's copies of private keys.
OPCRAFT_API void wipe(std::vector<unsigned char>& bytes) noexcept;

} // namespace opc::crypto
