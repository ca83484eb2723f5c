// SPDX-License-Identifier: Apache-2.0
#include "opcraft/PackageChange.hpp"

#include "opcraft/Text.hpp"

#include <opc/core/Exception.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <algorithm>
#include <sstream>

namespace opcraft {

namespace {

using opc::model::DigitalSignature;
using opc::model::DigitalSignatureManager;
using opc::model::SignatureReport;

const ChangeOptions& checked(const ChangeOptions& options) {
    if (options.output.empty() && isStream(options.file))
        throw Failure(ExitCode::WrongUsage, options.file, "", "this cannot be changed in place; name a file with -o");
    return options;
}

OpenPackage open(const ChangeOptions& options, Console& console) {
    return openWhenFree(
        options.file, options.wait, console,
        [&](std::chrono::milliseconds timeout) {
            InputOptions input = checked(options);
            input.lockTimeout = timeout;
            return OpenPackage(input, options.output);
        });
}

/// Opens a stored package with its signatures and calls an action with their manager.
template <class Action>
void withSignatures(opc::storage::ZipPackage& zip, const opc::Limits& limits, Action action) {
    opc::model::Package package(zip, limits);
    const auto manager = makeSignatureManager(package);
    package.open(opc::interfaces::OpenMode::ReadOnly);
    action(*manager);
}

/// The report of a signature as if nothing it names had changed.
SignatureReport asIfItHeld(const DigitalSignature& signature) {
    SignatureReport report(signature);
    report.signatureValueHolds = true;
    report.references.resize(1);
    report.references[0].kind = opc::model::ReferenceKind::Relationships;
    report.references[0].relationships = signature.getSignedRelationships();
    for (const opc::model::PartName& name : signature.getSignedPartNames()) {
        report.references.emplace_back().kind = opc::model::ReferenceKind::Part;
        report.references.back().target = name.toString();
    }
    return report;
}

/// The names of the signatures of a stored package; none when they cannot be read.
std::vector<std::string> readSignatureNames(opc::storage::ZipPackage& zip, const opc::Limits& limits) {
    std::vector<std::string> names;
    try {
        withSignatures(
            zip, limits,
            [&](const DigitalSignatureManager& manager) {
                for (const DigitalSignature& signature : manager.getSignatures())
                    names.push_back(toUtf8(signature.getName()));
            });
    } catch (const opc::Exception&) {
        names.clear();
    }
    return names;
}

/// The names of the signatures of a stored package that name all of its content, whether they hold or not; none when
/// they cannot be read.
std::set<std::string> findCompleteSignatures(opc::storage::ZipPackage& zip, const opc::Limits& limits) {
    std::set<std::string> names;
    try {
        withSignatures(
            zip, limits,
            [&](const DigitalSignatureManager& manager) {
                std::vector<SignatureReport> reports;
                for (const DigitalSignature& signature : manager.getSignatures())
                    reports.push_back(asIfItHeld(signature));
                const auto coverage = manager.examineCoverage(reports, zip.getOtherItems());
                for (std::size_t i = 0; i < reports.size(); ++i)
                    if (coverage[i].isComplete())
                        names.insert(toUtf8(reports[i].signature.getName()));
            });
    } catch (const opc::Exception&) {
        names.clear();
    }
    return names;
}

/// The signatures, of those named, that do not exist any longer or do not hold in a stored package, whoever signed; all
/// when the signatures of the package cannot be read.
std::vector<std::string> findBrokenSignatures(opc::storage::ZipPackage& zip, const opc::Limits& limits,
                                              const std::vector<std::string>& names) {
    opc::model::VerificationOptions anybody;
    anybody.validation.setCheckChain(false);
    anybody.validation.setCheckPurpose(false);
    anybody.validation.setCheckValidityTime(false);
    std::multiset<std::string> holding; // several may have one name, in different folders
    try {
        withSignatures(
            zip, limits,
            [&](const DigitalSignatureManager& manager) {
                for (const SignatureReport& each : manager.examineAllSignatures(anybody))
                    if (each.isSignatureValid())
                        holding.insert(toUtf8(each.signature.getName()));
            });
    } catch (const opc::Exception&) {
        return names;
    }
    std::vector<std::string> broken;
    for (const std::string& name : names)
        if (const auto found = holding.find(name); found != holding.end())
            holding.erase(found);
        else
            broken.push_back(name);
    return broken;
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
    package_.getFindings().note(console, package_.getName());
}

/// The names of the signatures of the file before the change that can be verified. The file is opened once more for
/// them, because a package is also changed when its signatures cannot be read.
std::vector<std::string> PackageChange::readNames() {
    if (subject_ == ChangeSubject::Signatures || signatures_.xml.empty())
        return {};
    const auto stored = package_.getInput().reopen("");
    complete_ = findCompleteSignatures(*stored, limits_);
    return readSignatureNames(*stored, limits_);
}

/// Signatures of another kind, or that cannot be read.
bool PackageChange::hasUncheckedSignatures(const std::vector<std::string>& names) {
    const bool isUnread = subject_ == ChangeSubject::Content && names.empty();
    return isUnread ? signatures_.isSigned() : !findSignatures(package_).pkcs7.empty();
}

/// Verifies the signatures of the saved file, because they cover more than the part or relationship that was changed.
void PackageChange::warn(Console& console, const std::vector<std::string>& names) {
    const auto stored = package_.getInput().reopen(goesToStandardOutput() ? "" : output_);
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
    isSaved_ = true;
}

void PackageChange::report(Console& console, const std::string& lines) const {
    if (!goesToStandardOutput())
        return console.write(lines, isSaved_ ? "; the change itself was saved" : "");
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);)
        console.note(line);
}

} // namespace opcraft
