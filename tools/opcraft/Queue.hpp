// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Console.hpp"

#include <algorithm>
#include <chrono>
#include <string>

namespace opcraft {

/// Another process is changing the file.
class FileInUse : public Failure {
public:
    explicit FileInUse(const std::string& file)
        : Failure(ExitCode::NotProcessed, file, "",
                  "another process is changing the file; --wait SECONDS waits longer for it") {}
};

/// @throws FileInUse when that is what an error of `ZipPackage::open` says.
inline void throwIfInUse(const opc::Exception& error, const std::string& file) {
    if (error.code() == boost::system::errc::device_or_resource_busy)
        throw FileInUse(file);
}

/// Opens a file for a change in place as soon as nobody else changes it, and says so when that takes longer than a
/// second.
/// @param open opens it, and waits so many milliseconds at most. @throws FileInUse.
template <class Open>
auto openInTurn(const std::string& file, unsigned seconds, Console& console, Open open) {
    using std::chrono::milliseconds;
    const milliseconds all = std::chrono::seconds(seconds);
    const milliseconds quiet = std::min<milliseconds>(all, std::chrono::seconds(1));
    try {
        return open(quiet);
    } catch (const FileInUse&) {
        if (all == quiet)
            throw;
    }
    console.note(file + ": waiting for another process that is changing the file");
    return open(all - quiet);
}

} // namespace opcraft
