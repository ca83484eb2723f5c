// SPDX-License-Identifier: Apache-2.0
#include "opcraft/CoverageEntry.hpp"
#include "opcraft/Names.hpp"
#include "opcraft/SigningOptions.hpp"
#include "opcraft/SigningRequests.hpp"
#include "opcraft/Text.hpp"

#include <memory>

namespace opcraft {

namespace {

struct SignOptions : SigningOptions {
    SelectionOptions selection{};
};

std::string toText(const opc::model::DigitalSignature& signature) {
    return "Signed as " + toUtf8(signature.getName()) + ": " +
           countText(signature.getSignedPartNames().size(), "part") + ", " +
           countText(signature.getSignedRelationships().size(), "relationship") + '\n';
}

/// What whoever trusts the signature could be shown although nobody signed it.
void warn(const opc::model::SigningGaps& gaps, const std::string& file, Console& console) {
    std::vector<std::string> links;
    for (const opc::model::Relationship& each : gaps.danglingRelationships)
        links.push_back(linkText(LinkName(toUtf8(each.getSourceURI().toString()), toUtf8(each.getID()))) + " (" +
                        toUtf8(each.getTarget()) + ')');
    if (!links.empty())
        console.note(file + ": warning: these lead to no part: " + listText(links));
    if (!gaps.otherItems.empty())
        console.note(file +
                     ": warning: these items are no parts and so cannot be signed: " + listText(gaps.otherItems));
}

ExitCode sign(const SignOptions& options, Console& console) {
    const Signer signer(options);
    PackageChange change(options, console, ChangeSubject::Signatures);
    throwIfSignedByOthers(change);
    opc::model::DigitalSignatureManager& manager = change.getPackage().getSignatureManager();
    const opc::model::SigningRequest request = makeSigningRequest(change.getPackage(), options.selection);
    const opc::model::SigningGaps gaps =
        manager.findSigningGaps(change.getPackage().getInput().getZip().getOtherItems());
    const bool isCountersigned = manager.isPackageCountersigned();
    const std::string text = toText(signer.sign(manager, request));
    change.save(console);
    change.report(console, text);
    warn(gaps, options.file, console);
    if (isCountersigned)
        console.note(options.file +
                     ": warning: the countersignature does not hold any longer, for it covers that there "
                     "are no other signatures");
    return ExitCode::Fine;
}

} // namespace

void addSignCommand(Tool& tool) {
    const auto options = std::make_shared<SignOptions>();
    CLI::App* command = addCommand(
        tool, "sign", "Sign a package, or some of its parts and relationships",
        std::string(
            "Without --part, --relationship and --relationship-type, all parts and all relationships of the\n"
            "package are signed. Prints the name of the signature and how much it covers; what it covers\n"
            "cannot be changed then without breaking it, but for the keywords of the core properties. Warns of\n"
            "relationships that lead to no part, and of items that are no parts and so cannot be signed. A\n"
            "signature that is added to a countersigned package breaks the countersignature.\n\n"
            "Opcraft alone checks this form of signature. Word, LibreOffice and other programs do not\n"
            "recognise it, as 'opcraft verify' does not check theirs.\n\n") +
            SIGNING_HELP + "\n\n" + PART_NAME_HELP +
            "\n\nExamples:\n"
            "  opcraft sign letter.docx --key alice.key --cert alice.pem --chain office.pem\n"
            "  opcraft sign letter.docx --p12 alice.p12 --password-file password -o signed.docx\n"
            "  opcraft sign letter.docx --key alice.key --part /word/document.xml --relationship /#rId1");
    addSigningOptions(*command, *options);
    addSelectionOptions(*command, options->selection);
    command->callback([&tool, options] {
        tool.action = {options->file, "", [options](Console& console) { return sign(*options, console); }};
    });
}

} // namespace opcraft
