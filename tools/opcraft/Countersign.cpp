// SPDX-License-Identifier: Apache-2.0
#include "opcraft/SigningOptions.hpp"
#include "opcraft/Text.hpp"

#include <memory>

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
    const auto options = std::make_shared<SigningOptions>();
    CLI::App* command = addCommand(
        tool, "countersign", "Sign the signatures of a package",
        std::string("The countersignature covers all signatures, and that there are no others. A package has one at\n"
                    "most. It does not cover the content; whether the signatures hold is not looked at.\n\n") +
            SIGNING_HELP + "\n\nExample:\n  opcraft countersign letter.docx --key notary.key --cert notary.pem");
    addSigningOptions(*command, *options);
    command->callback([&tool, options] {
        tool.action = {options->file, "", [options](Console& console) { return countersign(*options, console); }};
    });
}

} // namespace opcraft
