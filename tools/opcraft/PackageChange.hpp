// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"
#include "opcraft/Signatures.hpp"
#include "opcraft/Tool.hpp"

#include <string>
#include <vector>

namespace opcraft {

/// What a command is to change.
enum class ChangeSubject {
    Content,
    Signatures, ///< the command itself tells what becomes of those that the library knows
};

/// A package open for a change, which is saved in place or elsewhere. Without `save`, no file is touched. Those who
/// change a file in place queue: it is the only one of them all that has the file open.
class PackageChange {
public:
    /// @throws Failure for wrong usage when a stream is to be changed in place; FileInUse when others change the file
    ///         for longer than the options wait.
    PackageChange(const ChangeOptions& options, Console& console, ChangeSubject subject = ChangeSubject::Content);

    OpenPackage& getPackage() noexcept { return package_; }
    /// Those that were there before the change.
    const Signatures& getSignatures() const noexcept { return signatures_; }

    /// Saves and closes, and warns of signatures that do not hold any longer, or do not cover the content any longer:
    /// it names those that it can check, and says that there are others.
    /// @param isChanged false: nothing was changed. In place, nothing is written then; elsewhere, a copy is.
    /// @throws Failure naming the file that cannot be written.
    void save(Console& console, bool isChanged = true);

    /// Tells a result in lines of text, on the standard error stream when the package goes to the standard output.
    void report(Console& console, const std::string& lines) const;

private:
    bool goesToStandardOutput() const noexcept { return output_ == "-"; }
    std::vector<std::string> readNames();
    bool hasUncheckedSignatures(const std::vector<std::string>& names);
    void close();
    void warn(Console& console, const std::vector<std::string>& names);

    std::string output_;
    opc::Limits limits_;
    ChangeSubject subject_;
    OpenPackage package_;
    Signatures signatures_;
    std::set<std::string> complete_{}; ///< those that named all of the content before the change
};

} // namespace opcraft
