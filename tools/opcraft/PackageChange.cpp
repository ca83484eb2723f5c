// SPDX-License-Identifier: Apache-2.0
#include "opcraft/PackageChange.hpp"

#include "opcraft/Signatures.hpp"

#include <opc/core/Exception.hpp>

#include <sstream>

namespace opcraft {

namespace {

const ChangeOptions& checked(const ChangeOptions& options) {
    if (options.output.empty() && isStream(options.file))
        throw Failure(ExitCode::WrongUsage, options.file, "", "this cannot be changed in place; name a file with -o");
    return options;
}

} // namespace

PackageChange::PackageChange(const ChangeOptions& options)
    : output_(options.output), package_(checked(options), options.output),
      wasSigned_(findSignatures(package_).isSigned()) {}

void PackageChange::save(Console& console, bool isChanged) {
    close();
    if (goesToStandardOutput()) {
        const auto& bytes = package_.getInput().getBytes();
        console.write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
    if (wasSigned_ && isChanged)
        console.note(package_.getName() +
                     ": warning: the package was signed, and its signatures may not hold any longer");
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
