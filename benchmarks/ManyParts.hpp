// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace opc::benchmarks {

// Packages of many small parts: half of them typed by an Override and half by the Default of their extension, a tenth
// of them with relationships to three other parts and to one place outside.

constexpr std::size_t relationshipsPerPart = 4;

std::u16string nameOfPart(std::size_t number);
std::size_t countOfRelated(std::size_t parts);

/// What the parts say.
std::vector<std::string> bodiesOfParts(std::size_t parts);

/// Creates and saves one, as a program does: a part for each body.
void createManyParts(const std::filesystem::path& file, const std::vector<std::string>& bodies);

/// A file with one, made at the first call.
const std::filesystem::path& manyParts(std::size_t parts);

} // namespace opc::benchmarks
