// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace opc {
class InputStream;
class OutputStream;
} // namespace opc

namespace opc::model {

/// Calls an action with the blocks of a stored item in order, until it returns false or the end is reached.
/// @throws opc::Exception what the store throws; and what the action throws.
void readItem(InputStream& stream, const std::function<bool(const unsigned char* data, std::size_t size)>& take);

/// Reads a stored XML item whole, so that a failure of the store and an error in the content can be told apart. Of an
/// item longer than the maximum, only as much is read as is needed to detect it.
/// @throws opc::Exception what the store throws.
std::vector<unsigned char> readXmlItem(InputStream& stream, std::uint64_t maximumSize);

/// Replaces the stored content by the bytes. After a failure the next write starts new content.
/// @throws opc::Exception what the store throws.
void replaceItem(OutputStream& stream, const unsigned char* data, std::size_t size);
inline void replaceItem(OutputStream& stream, const std::vector<unsigned char>& bytes) {
    replaceItem(stream, bytes.data(), bytes.size());
}

} // namespace opc::model
