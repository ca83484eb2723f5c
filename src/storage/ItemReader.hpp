// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>

namespace opc::storage {

/// Takes the next bytes of a content.
using TakeBytes = std::function<void(const unsigned char* data, std::size_t size)>;

/// One pass over the bytes of an item.
class ItemReader {
public:
    virtual ~ItemReader() = default;

    /// @return the bytes delivered; 0 at the end.
    virtual std::size_t read(unsigned char* buffer, std::size_t size) = 0;
};

} // namespace opc::storage
