// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <zip.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace opc::benchmarks {

// The floors over libzip alone: what reading and writing the same bytes costs whoever does it.

struct ZipDiscarder {
    void operator()(zip_t* zip) const { zip_discard(zip); }
};
using Zip = std::unique_ptr<zip_t, ZipDiscarder>;

struct Item {
    std::string name;
    std::vector<unsigned char> bytes;
};

/// @throws std::runtime_error with libzip's message, as all here.
Zip openZip(const std::filesystem::path& file, int flags);

std::string nameOf(zip_t* zip, zip_uint64_t index);
std::vector<unsigned char> readItem(zip_t* zip, zip_uint64_t index);
std::vector<Item> readItems(const std::filesystem::path& file);

/// Takes the source over.
void addItem(zip_t* zip, const std::string& name, zip_source_t* source, zip_int32_t method);
void addItem(zip_t* zip, const Item& item);

/// Writes what was added.
void closeZip(Zip zip);

/// Puts a finished file in the place of another so that a loss of power leaves one of the two: sync, rename, sync of
/// the folder, as the library saves.
void replaceDurably(const std::filesystem::path& finished, const std::filesystem::path& file);

/// Writes a whole file of deflated items, durably.
void writeItems(const std::filesystem::path& file, const std::vector<Item>& items);

} // namespace opc::benchmarks
