// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

namespace opc::storage {

/// Who may do what with a file; a value.
struct FileRights {
    uid_t user;
    gid_t group;
    mode_t mode;
};

/// Gives a file that will replace another one its owner, mode, access control list and user attributes ("user.*"). A
/// list that was inherited from the folder is removed. Where the file cannot be given away it stays the user's: nobody
/// gets more rights by that. Where the file system has no lists or attributes, none are copied.
/// @param rights of the file that is replaced, `from`.
/// @throws opc::Exception when the mode or an attribute cannot be kept; `label` starts the message.
void keepRights(const FileRights& rights, const std::filesystem::path& from, int to, const std::string& label);

} // namespace opc::storage
