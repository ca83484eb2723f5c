// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>

#include <cstdint>
#include <filesystem>

namespace opc::storage {

/// How a ZIP package works; a value, the same for every open.
struct ZipOptions {
    Limits limits{}; ///< on what is read; the two for XML count for the content types stream

    /// Bytes of memory that all new contents may take together until they are saved. What is written beyond goes,
    /// compressed, to a temporary file without a name. Of no meaning for a package in bytes.
    std::uint64_t memory = 8ULL * 1024 * 1024;

    /// Where that file is; empty: the folder that TMPDIR names, else /var/tmp.
    std::filesystem::path temporaryFolder{};
};

} // namespace opc::storage
