// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"
#include "opcraft/SignatureParts.hpp"
#include "opcraft/Tool.hpp"

#include <set>
#include <string>
#include <vector>

namespace opcraft {

/// What a command changes.
enum class ChangeSubject {
    Content,
    Signatures, ///< the command itself reports on those that the library knows
};

/// A package open for a change, which is saved in place or to another file. Without `save`, no file is changed. While
/// it exists, no other process that does the same has a file open that is changed in place.
class PackageChange {
public:
    /// @throws Failure for wrong usage when a stream is to be changed in place; FileInUse when other processes change
    ///         the file for longer than the options wait.
    PackageChange(const ChangeOptions& options, Console& console, ChangeSubject subject = ChangeSubject::Content);

    OpenPackage& getPackage() noexcept { return package_; }
    /// Those before the change.
    const opc::model::FoundSignatures& getSignatures() const noexcept { return signatures_; }

    /// Saves and closes, and warns of signatures that do not hold or do not cover the content any longer: by name of
    /// those that can be verified, and in general of others.
    /// @param isChanged false: in place, nothing is written; to another file, a copy.
    /// @throws Failure naming the file that cannot be written.
    void save(Console& console, bool isChanged = true);

    /// Writes a result in lines of text, to the standard error stream when the package goes to the standard output.
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
    opc::model::FoundSignatures signatures_;
    bool isSaved_ = false;
    std::set<std::string> complete_{}; ///< those that covered the content before the change
};

} // namespace opcraft
