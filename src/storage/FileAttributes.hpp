// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <string>

namespace opc::storage {

/// Copies the access control list and the user attributes ("user.*") from one file to another, and removes
/// a list that was inherited from the folder. Where the file system supports neither, nothing is done.
/// @param keepsAccess whether the list is copied; otherwise the file gets none.
/// @throws opc::Exception when one cannot be copied; `label` starts the message.
void copyAttributes(const std::filesystem::path& from, int to, bool keepsAccess, const std::string& label);

} // namespace opc::storage
