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

/// Calls an action with one block of a stored item after the other, until it returns false or the end is reached.
/// @throws opc::Exception what the store throws; and what the action throws.
void readItem(InputStream& stream, const std::function<bool(const unsigned char* data, std::size_t size)>& take);

/// Reads a stored XML item whole, so that a failure of the store is told from one of the content. Of an item that is
/// longer than the maximum, only as much is read as shows it.
/// @throws opc::Exception what the store throws.
std::vector<unsigned char> readXmlItem(InputStream& stream, std::uint64_t maximumSize);

/// Replaces what is stored by the bytes. After a failure the next write starts afresh.
/// @throws opc::Exception what the store throws.
void replaceItem(OutputStream& stream, const std::vector<unsigned char>& bytes);

} // namespace opc::model
