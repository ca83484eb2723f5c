// SPDX-License-Identifier: Apache-2.0
#include "storage/directory/DirectoryStream.hpp"

#include "storage/Failure.hpp"
#include "storage/FileDescriptor.hpp"
#include "storage/directory/FolderPaths.hpp"

#include <cerrno>
#include <string_view>
#include <utility>

namespace opc::storage {

DirectoryStream::DirectoryStream(int folder, std::string label) : label_(std::move(label)) {
    FileDescriptor own(::openat(folder, ".", FOLDER_FLAGS));
    if (own.isOpen())
        stream_.reset(::fdopendir(own.get()));
    if (!stream_)
        failWithErrno(errno, label_ + ": cannot be read");
    own.release();
}

const char* DirectoryStream::next() {
    for (;;) {
        errno = 0;
        const dirent* const entry = ::readdir(stream_.get());
        if (!entry && errno != 0)
            failWithErrno(errno, label_ + ": cannot be read");
        const std::string_view name = entry ? entry->d_name : "";
        if (name != "." && name != "..")
            return entry ? entry->d_name : nullptr;
    }
}

} // namespace opc::storage
