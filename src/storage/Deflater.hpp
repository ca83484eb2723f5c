// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

namespace opc::storage {

/// Writes a raw deflate stream (RFC 1951), as in ZIP files.
class Deflater {
public:
    enum class Ending {
        Open,        ///< bytes may be held back
        Synchronize, ///< all bytes are flushed; the stream continues at a byte boundary
        Finish,      ///< the stream ends
    };

    /// @param level of zlib.
    /// @param size upper bound of the input in bytes: small inputs get small tables, which are initialized faster.
    explicit Deflater(int level, std::uint64_t size = std::numeric_limits<std::uint64_t>::max());
    ~Deflater();

    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    /// Starts a new stream, if a new object would have the same tables.
    /// @return whether it would; otherwise nothing is changed.
    bool restart(int level, std::uint64_t size);

    /// Appends the output to `out`. After a failure the stream cannot be used.
    void deflate(const unsigned char* data, std::size_t size, Ending ending, std::vector<unsigned char>& out);

private:
    struct State;

    void deflateChunk(const unsigned char* data, std::size_t size, int flush, std::vector<unsigned char>& out);

    std::unique_ptr<State> state_;
};

} // namespace opc::storage
