// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"
#include "opcraft/Tool.hpp"

#include <string>

namespace opcraft {

/// A package open for a change, which is saved in place or elsewhere. Without `save`, no file is touched.
class PackageChange {
public:
    /// @throws Failure for wrong usage when a stream is to be changed in place.
    explicit PackageChange(const ChangeOptions& options);

    OpenPackage& getPackage() noexcept { return package_; }

    /// Saves and closes, and warns when the package was signed.
    /// @param isChanged false: nothing was changed. In place, nothing is written then; elsewhere, a copy is.
    /// @throws Failure naming the file that cannot be written.
    void save(Console& console, bool isChanged = true);

    /// Tells a result in lines of text, on the standard error stream when the package goes to the standard output.
    void report(Console& console, const std::string& lines) const;

private:
    bool goesToStandardOutput() const noexcept { return output_ == "-"; }
    void close();

    std::string output_;
    OpenPackage package_;
    bool wasSigned_;
};

} // namespace opcraft
