// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Bytes.hpp"

#include <vector>

namespace opc::storage {

/// The content that was written to one item. It only grows: new content is a new object, so that who reads
/// the old one goes on with it.
class Content final : public Bytes {
public:
    /// Takes all bytes, or throws and takes none.
    void append(const unsigned char* data, std::size_t size);

    std::uint64_t size() const override { return bytes_.size(); }
    std::size_t readAt(std::uint64_t offset, unsigned char* buffer, std::size_t size) const override;

private:
    std::vector<unsigned char> bytes_;
};

} // namespace opc::storage
