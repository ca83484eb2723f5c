// SPDX-License-Identifier: Apache-2.0
#include "model/ItemBytes.hpp"

#include <opc/core/InputStream.hpp>
#include <opc/core/OutputStream.hpp>

#include <array>

namespace opc::model {

namespace {

/// Closes a stream in any case; while an exception is in flight, an error of closing is not reported.
template <class Stream, class Action>
void withClosing(Stream& stream, Action action) {
    try {
        action();
    } catch (...) {
        try {
            stream.close();
        } catch (...) { // NOLINT(bugprone-empty-catch): the first error is the one that tells
        }
        throw;
    }
    stream.close();
}

} // namespace

void readItem(InputStream& stream, const std::function<bool(const unsigned char*, std::size_t)>& take) {
    withClosing(
        stream,
        [&] {
            stream.open();
            std::array<unsigned char, 32 * 1024> block;
            unsigned long count = 0;
            do
                count = stream.read(block.data(), block.size());
            while (count != 0 && take(block.data(), count));
        });
}

std::vector<unsigned char> readXmlItem(InputStream& stream, std::uint64_t maximumSize) {
    std::vector<unsigned char> bytes;
    readItem(stream, [&](const unsigned char* data, std::size_t size) {
        bytes.insert(bytes.end(), data, data + size);
        return bytes.size() <= maximumSize;
    });
    return bytes;
}

void replaceItem(OutputStream& stream, const unsigned char* data, std::size_t size) {
    if (!stream.isDone())
        stream.close(); // otherwise the bytes would be appended to those of an attempt whose close failed
    withClosing(stream, [&] { stream.write(data, size); });
}

} // namespace opc::model
