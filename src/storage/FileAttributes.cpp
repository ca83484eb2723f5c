// SPDX-License-Identifier: Apache-2.0
#include "storage/FileAttributes.hpp"

#include "storage/Failure.hpp"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <vector>

namespace opc::storage {

namespace {

constexpr const char* ACCESS_LIST = "system.posix_acl_access";

/// The result of a call that is made twice, first for the size; nothing after an error, with the reason in `errno`.
template <class Call>
std::optional<std::vector<char>> readAll(Call call) {
    std::vector<char> bytes;
    for (;;) {
        const ssize_t size = call(nullptr, 0);
        bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        const ssize_t count = bytes.empty() ? size : call(bytes.data(), bytes.size());
        if (count >= 0) {
            bytes.resize(static_cast<std::size_t>(count));
            return bytes;
        }
        if (errno != ERANGE) // otherwise it grew meanwhile
            return std::nullopt;
    }
}

/// @param keepsList whether the access control list is copied; otherwise the file gets none.
void copyAttributes(const std::filesystem::path& from, int to, bool keepsList, const std::string& label) {
    ::fremovexattr(to, ACCESS_LIST);
    const auto names = readAll([&](char* buffer, std::size_t size) { return ::listxattr(from.c_str(), buffer, size); });
    if (!names) {
        if (errno == ENOTSUP || errno == ENOSYS || errno == ENOENT) // there are none, or it was removed meanwhile
            return;
        failWithErrno(errno, label + ": the attributes of the file cannot be kept");
    }
    for (auto name = names->begin(); name != names->end(); name = std::find(name, names->end(), '\0') + 1) {
        const std::string each(name, std::find(name, names->end(), '\0'));
        if (!each.starts_with("user.") && !(keepsList && each == ACCESS_LIST))
            continue;
        const auto value = readAll(
            [&](char* buffer, std::size_t size) { return ::getxattr(from.c_str(), each.c_str(), buffer, size); });
        if (!value && errno == ENODATA) // it was removed meanwhile
            continue;
        if (!value || ::fsetxattr(to, each.c_str(), value->data(), value->size(), 0) != 0)
            failWithErrno(errno, label + ": the attribute " + inQuotes(each) + " of the file cannot be kept");
    }
}

} // namespace

void keepRights(const FileRights& rights, const std::filesystem::path& from, int to, const std::string& label) {
    mode_t mode = rights.mode;
    bool keepsGroup = true;
    if (::fchown(to, rights.user, rights.group) != 0) {
        mode &= 01777; // set-user-id and set-group-id would grant the rights of another owner
        keepsGroup = ::fchown(to, static_cast<uid_t>(-1), rights.group) == 0;
        if (!keepsGroup)
            mode &= ~static_cast<mode_t>(070) | (mode & 07) << 3; // another group may do what everybody may
    }
    copyAttributes(from, to, keepsGroup, label);
    if (::fchmod(to, mode) != 0)
        failWithErrno(errno, label + ": the mode of the file cannot be kept");
}

} // namespace opc::storage
