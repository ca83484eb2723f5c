// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/storage/zip/ZipItem.hpp>

#include <boost/system/error_code.hpp>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace opc::storage {

/// What is to become of an item below a folder.
struct PlannedItem {
    std::size_t position;  ///< in the list of items
    std::string_view path; ///< the name of the item; that of a folder ends with a slash
    std::string reason{};  ///< why nothing becomes of it; else empty
    boost::system::errc::errc_t code = boost::system::errc::invalid_argument; ///< with a reason
};

/// Decides by the names alone which items can be files at the same time.
/// @param items outlive the plan.
/// @param positions of the items that are asked for, each once.
/// @return them in the order of the bytes of their names.
std::vector<PlannedItem> planExtraction(const std::vector<ZipItem>& items, const std::vector<std::size_t>& positions);

} // namespace opc::storage
