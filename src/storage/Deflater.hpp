// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

namespace opc::storage {

/// Makes a bare deflate stream (RFC 1951), as ZIP files hold it.
class Deflater {
public:
    enum class Ending {
        Open,        ///< bytes may be held back
        Synchronize, ///< all bytes come out; the stream goes on at the next byte
        Finish,      ///< the stream ends
    };

    /// @param level of zlib.
    /// @param size what comes at most, in bytes: for little, little is set up, which is most of the work then.
    explicit Deflater(int level, std::uint64_t size = std::numeric_limits<std::uint64_t>::max());
    ~Deflater();

    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    /// Appends what comes out to `out`. After a failure the stream is of no use.
    void deflate(const unsigned char* data, std::size_t size, Ending ending, std::vector<unsigned char>& out);

private:
    struct State;

    void deflateChunk(const unsigned char* data, std::size_t size, int flush, std::vector<unsigned char>& out);

    std::unique_ptr<State> state_;
};

} // namespace opc::storage
