// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

/// Paths below a folder, with slashes, and how the folders on the way are opened.
namespace opc::storage {

inline constexpr int FOLDER_FLAGS = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// The folder that a path is in; empty for the root.
inline std::string_view folderOf(std::string_view path) {
    const std::size_t slash = path.rfind('/');
    return slash == path.npos ? std::string_view() : path.substr(0, slash);
}

/// How many bytes of two paths, up to the end of a segment, are the same.
inline std::size_t commonFolders(std::string_view a, std::string_view b) {
    const auto end = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    const bool isWhole = (end.first == a.end() || *end.first == '/') && (end.second == b.end() || *end.second == '/');
    const auto size = static_cast<std::size_t>(end.first - a.begin());
    return isWhole ? size : folderOf(a.substr(0, size)).size();
}

} // namespace opc::storage
