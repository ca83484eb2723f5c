// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace opc::model {

/// The digest of a signature, for its references and for its value. MD5 and SHA-1 are for existing signatures; do not
/// create new ones with them.
enum class DigestMethod : std::int32_t {
    MD5 = 0,
    SHA1 = 1,
    SHA224 = 2,
    SHA256 = 3,
    SHA384 = 4,
    SHA512 = 5,
};

} // namespace opc::model
