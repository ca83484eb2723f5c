// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Keys.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

namespace opcraft {

namespace {

ExitCode countersign(const SigningOptions& options, Console& console) {
    const Signer signer(options);
    PackageChange change(options, console, ChangeSubject::Signatures);
    throwIfSignedByOthers(change);
    const opc::model::DigitalSignature signature = signer.countersign(change.getPackage().getSignatureManager());
    const std::string text = "Countersigned as " + toUtf8(signature.getName()) + ": " +
                             countText(signature.getSignedPartNames().size(), "signature") + '\n';
    change.save(console);
    change.report(console, text);
    return ExitCode::Fine;
}

} // namespace

void addCountersignCommand(Tool& tool) {
    addCommand<SigningOptions>(
        tool,
        {"countersign", "Sign the signatures of a package",
         std::string("The countersignature covers all signatures, and that there are no others. A package has one at\n"
                     "most. It does not cover the content; whether the signatures hold is not looked at.\n\n") +
             SIGNING_HELP + "\n\nExample:\n  opcraft countersign letter.docx --key notary.key --cert notary.pem",
         addSigningOptions, countersign});
}

} // namespace opcraft
