// SPDX-License-Identifier: Apache-2.0
#include <opc/core/InputStream.hpp>
#include <opc/core/OutputStream.hpp>
#include <opc/xml/XercesHelper.hpp>

#include "model/ItemBytes.hpp"

#include <algorithm>

namespace opc::model {

namespace {

constexpr std::size_t chunkSize = 16 * 1024;

/// Closes a stream whatever happens; while an error is under way, one of closing is not reported over it.
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

std::vector<unsigned char> readXmlItem(InputStream& stream) {
    std::vector<unsigned char> bytes;
    withClosing(stream, [&] {
        stream.open();
        std::size_t size = 0;
        unsigned long count = 0;
        do {
            bytes.resize(std::max(bytes.size(), size + chunkSize));
            count = stream.read(bytes.data() + size, chunkSize);
            size += count;
        } while (count != 0 && size <= XercesHelper::MAX_XML_SIZE);
        bytes.resize(size);
    });
    return bytes;
}

void replaceItem(OutputStream& stream, const std::vector<unsigned char>& bytes) {
    withClosing(stream, [&] { stream.write(bytes.data(), bytes.size()); });
}

} // namespace opc::model
