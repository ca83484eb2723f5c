// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace opcraft {

/// A thumbnail relationship of the package, and the part it leads to.
struct ThumbnailEntry {
    std::string id;
    std::string target;
    bool isExternal = false;
    std::optional<opc::model::Part> part; ///< none when the relationship leads to no part that is there
    std::uint64_t size = 0;               ///< of the part, in bytes
};

/// In the order in which people count IDs. Two of them may lead to one part.
std::vector<ThumbnailEntry> findThumbnails(OpenPackage& package);

std::string toText(const std::vector<ThumbnailEntry>& thumbnails);
nlohmann::ordered_json toJson(const std::vector<ThumbnailEntry>& thumbnails, const std::string& file);

/// Replaces all thumbnails of the package. The name of the new part is the usual one, or one like it that is free.
/// @throws Failure for wrong input when the bytes are no image of a known type.
void setThumbnail(OpenPackage& package, const std::string& imageName, const std::vector<unsigned char>& image);

/// Removes every thumbnail relationship of the package, and each part that no other relationship leads to.
/// @return whether there were any.
bool removeThumbnails(OpenPackage& package);

} // namespace opcraft
