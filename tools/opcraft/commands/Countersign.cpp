// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Keys.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

namespace opcraft {

namespace {

ExitCode countersign(const SigningOptions& options, Console& console) {
    Signer signer(options);
    PackageChange change(options, console, ChangeSubject::Signatures);
    const opc::model::DigitalSignature signature = signer.countersign(change.getPackage().getSignatureManager());
    const std::string text = "Countersigned as " + toUtf8(signature.getName()) + ": " +
                             countText(signature.getSignedPartNames().size(), "signature") + '\n';
    change.save(console);
    change.report(console, text);
    signer.warn(options.file, console);
    return ExitCode::Fine;
}

} // namespace

void addCountersignCommand(Tool& tool) {
    addCommand<SigningOptions>(
        tool, {"countersign", "Sign the signatures of a package",
               std::string(
                   "The countersignature covers all signatures, but not the content; whether the signatures hold is\n"
                   "not looked at. One of --form library also covers that there are no others, and a package has one\n"
                   "at most; those of the other forms are signatures like others. A signature that is added\n"
                   "later is not covered, and 'opcraft verify' says so with exit code 1.\n\n") +
                   SIGNING_HELP + "\n\nExample:\n  opcraft countersign letter.docx --key notary.key --cert notary.pem",
               addSigningOptions, countersign});
}

} // namespace opcraft
