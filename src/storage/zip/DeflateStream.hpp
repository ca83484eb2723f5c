// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Bytes.hpp"
#include "storage/ItemReader.hpp"

#include <cstdint>
#include <string>

namespace opc::storage {

struct DirectoryRecord;

/// Refuses a deflated item whose compressed stream does not end exactly where its content ends: who reads a file from
/// the front goes on behind the stream, and finds there what the directory does not know. Takes the time of reading the
/// item, and constant memory.
/// @param content the offset of the compressed bytes.
/// @param take is given the bytes that come out, in order; may throw.
/// @param label starts the messages.
/// @throws opc::Exception bad_message, for a damaged stream, a wrong size and a wrong checksum too.
void throwIfStreamEndsElsewhere(const Bytes& file, const DirectoryRecord& record, std::uint64_t content,
                                const TakeBytes& take, const std::string& label);

} // namespace opc::storage
