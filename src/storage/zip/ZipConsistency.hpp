// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Bytes.hpp"
#include "storage/zip/ZipArchive.hpp"
#include "storage/zip/ZipDirectory.hpp"
#include "storage/zip/ZipItems.hpp"

#include <string>

namespace opc::storage {

/// Refuses a file that readers could read as different packages: those that use the central directory, those that use
/// the local headers from the start, and those that search for the directory from the end. libzip has a check of its
/// own, which is not used: it names no item, refuses files of real producers for their times, and checks neither
/// flags, data descriptors nor the bytes between the items.
/// @param directory of the file.
/// @param label starts the messages.
/// @throws opc::Exception bad_message for what `ZipOptions::consistent` lists.
void throwIfInconsistent(const Bytes& file, const ZipDirectory& directory, const std::string& label);

/// Refuses two items that a reader could confuse by their names, or read as the same part (`foldName`).
/// @param items of the archive.
/// @param label starts the messages.
/// @throws opc::Exception bad_message
void throwIfNamesMeet(const ZipItems& items, const ZipArchive& archive, const std::string& label);

} // namespace opc::storage
