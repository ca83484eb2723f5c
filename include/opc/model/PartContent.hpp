// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// The content of parts, whole or block by block. All are called by the thread that uses the package, and throw what
/// `Part::getInputStream` or `getOutputStream` and the store throw. Every reading begins at the start of the part and
/// ends with its stream closed, also when it fails.
namespace opc::model {

class Part;

/// The bytes that are read into memory unless a caller says otherwise. A part of a small file may be gigabytes, of
/// which `Limits::itemSize` of the store alone would let through 4 GiB.
inline constexpr std::uint64_t MAXIMUM_IN_MEMORY = 64ULL * 1024 * 1024;

/// @param maximum bytes.
/// @throws opc::Exception file_too_large when the part has more; `errorKind` tells `ErrorKind::LimitExceeded`.
OPCRAFT_API std::vector<unsigned char> readBytes(const Part& part, std::uint64_t maximum = MAXIMUM_IN_MEMORY);

/// The content as UTF-8. What begins with a byte order mark of UTF-16 is converted, and no byte order mark is returned.
/// XML is not parsed: its declaration still names the encoding in which it is stored.
/// @param maximum bytes, as they are stored.
/// @throws opc::Exception file_too_large as `readBytes`.
/// @throws InvalidPartContent when the content is not valid UTF-8, or UTF-16 with a byte order mark.
OPCRAFT_API std::string readText(const Part& part, std::uint64_t maximum = MAXIMUM_IN_MEMORY);

/// Delivers the content in blocks of at most 32 KiB, so that a part of any size is read in constant memory.
/// @param take called with each block, at least one byte; what it throws ends the reading and goes through.
OPCRAFT_API void readBlocks(const Part& part, const std::function<void(const unsigned char*, std::size_t)>& take);

/// Replaces the content. After a failure of the store the part may have a piece of the new one; then the package is to
/// be closed with `discard`.
OPCRAFT_API void writeBytes(const Part& part, const unsigned char* data, std::size_t size);
OPCRAFT_API void writeBytes(const Part& part, const std::vector<unsigned char>& bytes);

/// Replaces the content by a text, which is written as it is, without a byte order mark.
/// @throws opc::Exception invalid_argument when it is not UTF-8; nothing is written then.
OPCRAFT_API void writeText(const Part& part, std::string_view utf8);

} // namespace opc::model
