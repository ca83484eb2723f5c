// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>

namespace opc::storage {

/// Gives a file the access control list and the attributes of the user ("user.*") that another one has, and takes away
/// a list that it inherited from its folder. Where the file system has none of them, nothing is done.
/// @param keepsAccess whether the list is taken over; else the file gets none.
/// @throws opc::Exception when one cannot be kept; `label` starts the message.
void copyAttributes(const std::filesystem::path& from, int to, bool keepsAccess, const std::string& label);

} // namespace opc::storage
