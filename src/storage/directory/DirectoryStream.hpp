// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <dirent.h>

#include <memory>
#include <string>

namespace opc::storage {

/// What is in an open folder, without "." and "..".
class DirectoryStream {
public:
    /// @param folder a descriptor, which need not stay open.
    /// @param label starts the messages.
    /// @throws opc::Exception what the system reports.
    DirectoryStream(int folder, std::string label);

    /// @return null at the end; valid until the next call.
    /// @throws opc::Exception what the system reports.
    const char* next();

private:
    struct Closer {
        void operator()(DIR* stream) const noexcept { ::closedir(stream); }
    };

    std::string label_;
    std::unique_ptr<DIR, Closer> stream_;
};

} // namespace opc::storage
