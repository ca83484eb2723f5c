// SPDX-License-Identifier: Apache-2.0
#include <opc/core/InputStreamSource.hpp>

namespace opc {

InputStreamSource::InputStreamSource(InputStream& stream) : stream_(&stream) {}

std::streamsize InputStreamSource::read(char* buffer, std::streamsize size) {
    // Boost.Iostreams takes a short count for the end; an input stream may deliver more afterwards.
    std::streamsize total = 0;
    while (total < size) {
        const auto count =
            stream_->read(reinterpret_cast<unsigned char*>(buffer) + total, static_cast<unsigned long>(size - total));
        if (count == 0)
            break;
        total += static_cast<std::streamsize>(count);
    }
    return total == 0 && size > 0 ? -1 : total;
}

} // namespace opc
