// SPDX-License-Identifier: Apache-2.0
#include "opcraft/PackageChange.hpp"

#include "opcraft/CoverageEntry.hpp"
#include "opcraft/Queue.hpp"
#include "opcraft/SignatureCheck.hpp"
#include "opcraft/Text.hpp"

#include <opc/core/Exception.hpp>

#include <algorithm>
#include <sstream>

namespace opcraft {

namespace {

const ChangeOptions& checked(const ChangeOptions& options) {
    if (options.output.empty() && isStream(options.file))
        throw Failure(ExitCode::WrongUsage, options.file, "", "this cannot be changed in place; name a file with -o");
    return options;
}

OpenPackage open(const ChangeOptions& options, Console& console) {
    return openInTurn(options.file, options.wait, console, [&](std::chrono::milliseconds timeout) {
        InputOptions input = checked(options);
        input.lockTimeout = timeout;
        return OpenPackage(input, options.output);
    });
}

} // namespace

PackageChange::PackageChange(const ChangeOptions& options, Console& console, ChangeSubject subject)
    : output_(options.output), limits_(options.limits), subject_(subject), package_(open(options, console)),
      signatures_(findSignatures(package_)) {}

void PackageChange::save(Console& console, bool isChanged) {
    const std::vector<std::string> names = isChanged ? readNames() : std::vector<std::string>();
    const bool hasUnchecked = isChanged && hasUncheckedSignatures(names);
    close();
    if (goesToStandardOutput()) {
        const auto& bytes = package_.getInput().getBytes();
        console.write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
    if (hasUnchecked)
        console.note(package_.getName() +
                     ": warning: the package was signed, and its signatures may not hold any longer");
    if (!names.empty())
        warn(console, names);
}

/// The signatures of the file as it was, whose fate can be told; opened once more, since a package whose signatures
/// cannot be read is to be changed all the same.
std::vector<std::string> PackageChange::readNames() {
    if (subject_ == ChangeSubject::Signatures || signatures_.own.empty())
        return {};
    const auto stored = package_.getInput().lookAgain("");
    complete_ = findCompleteSignatures(*stored, limits_);
    return readSignatureNames(*stored, limits_);
}

bool PackageChange::hasUncheckedSignatures(const std::vector<std::string>& names) {
    if (subject_ == ChangeSubject::Content)
        return names.empty() ? signatures_.isSigned() : !signatures_.areOwn();
    const Signatures left = findSignatures(package_);
    return !left.pkcs7.empty() ||
           !std::includes(left.loose.begin(), left.loose.end(), left.standard.begin(), left.standard.end());
}

/// What a change does to a signature shows in what was saved, and only there: it covers more than the part or
/// relationship that the command names.
void PackageChange::warn(Console& console, const std::vector<std::string>& names) {
    const auto stored = package_.getInput().lookAgain(goesToStandardOutput() ? "" : output_);
    const std::vector<std::string> broken = findBrokenSignatures(*stored, limits_, names);
    for (const std::string& name : findCompleteSignatures(*stored, limits_))
        complete_.erase(name);
    for (const std::string& name : broken)
        complete_.erase(name);
    const std::string start = package_.getName() + ": warning: after this change these signatures do not ";
    if (!broken.empty())
        console.note(start + "hold: " + listText(broken));
    if (!complete_.empty())
        console.note(start + "cover the content: " + listText({complete_.begin(), complete_.end()}));
}

void PackageChange::close() {
    const bool isElsewhere = !output_.empty() && !goesToStandardOutput();
    try {
        package_.getModel().close();
    } catch (const opc::Exception& e) {
        throw toFailure(e, isElsewhere ? output_ : package_.getName(), "");
    }
}

void PackageChange::report(Console& console, const std::string& lines) const {
    if (!goesToStandardOutput())
        return console.write(lines);
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);)
        console.note(line);
}

} // namespace opcraft
