// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

/// Reading and writing all bytes at an offset of an open file, and locking it. Stateless functions.
namespace opc::storage {

/// @param label starts the messages.
/// @return the bytes delivered; fewer than requested at the end of the file only.
/// @throws opc::Exception what the system reports.
std::size_t readFileAt(int file, std::uint64_t offset, unsigned char* buffer, std::size_t size,
                       const std::string& label);

/// @throws opc::Exception what the system reports.
void writeFileAt(int file, std::uint64_t offset, const unsigned char* data, std::size_t size, const std::string& label);

/// @param label starts the messages.
/// @throws opc::Exception what the system reports.
struct stat statusOf(int file, const std::string& label);

/// Takes the lock (`flock`) on an open file, which its descriptor holds until it is closed. What has the lock already
/// keeps it.
/// @param cancelled ends the wait once it is true; may be null.
/// @return false when another one held it all the time; true also where the system does not support such locks.
bool lockFile(int file, std::chrono::milliseconds wait, const std::atomic<bool>* cancelled = nullptr);

} // namespace opc::storage
