// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Keys.hpp"
#include "opcraft/Names.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <set>
#include <vector>

namespace opcraft {

namespace {

using opc::model::PartName;
using opc::model::RelationshipSelector;
using opc::model::RelationshipSelectorType;
using opc::model::SigningRequest;

struct SignOptions : SigningOptions {
    std::vector<std::string> parts{};             ///< all of the package when this and the others are empty
    std::vector<std::string> relationships{};     ///< SOURCE#ID
    std::vector<std::string> relationshipTypes{}; ///< SOURCE=TYPE
};

/// Adds the parts, each once.
void addParts(const OpenPackage& package, const std::vector<std::string>& names, SigningRequest& request) {
    std::set<PartName> known;
    for (const std::string& text : names) {
        const PartName name = package.getPart(toPartNameOfPart(text)).getName();
        if (known.insert(name).second)
            request.parts.push_back(name);
    }
}

void addSelector(const RelationshipSelector& selector, SigningRequest& request) {
    for (const RelationshipSelector& known : request.selectors)
        if (known == selector)
            return;
    request.selectors.push_back(selector);
}

/// No ID holds a "#", so the last one separates source and ID.
void addById(OpenPackage& package, const std::string& text, SigningRequest& request) {
    const std::size_t sign = text.rfind('#');
    if (sign == std::string::npos || sign == 0 || sign + 1 == text.size())
        throw wrongArgument(text, "not of the form SOURCE#ID");
    const PartName source = toPartName(text.substr(0, sign));
    const std::u16string id = toUtf16(text.substr(sign + 1));
    package.withSource(source, [&](const opc::model::RelationshipSource& owner) {
        if (!owner.hasRelationship(id))
            throw Failure(ExitCode::NotProcessed, package.getName(), toUtf8(source.toString()),
                          "no relationship \"" + text.substr(sign + 1) +
                              "\"; 'opcraft rels' shows the relationships of a source");
        addSelector({owner.getSourceURI(), RelationshipSelectorType::ById, id}, request);
    });
}

bool isSource(OpenPackage& package, const std::string& text) {
    try {
        const PartName name = toPartName(text);
        return PartName::isPackageRootUri(name.getURI()) || package.getModel().hasPart(name);
    } catch (const Failure&) {
        return false;
    }
}

/// The position of the "=" after the source, whose name may also hold one: the first one that a source precedes.
std::size_t findSign(OpenPackage& package, const std::string& text) {
    const std::size_t first = text.find('=');
    for (std::size_t sign = first; sign != std::string::npos; sign = text.find('=', sign + 1))
        if (sign != 0 && isSource(package, text.substr(0, sign)))
            return sign;
    return first;
}

void addByType(OpenPackage& package, const std::string& text, SigningRequest& request) {
    const std::size_t sign = findSign(package, text);
    if (sign == std::string::npos || sign == 0 || sign + 1 == text.size())
        throw wrongArgument(text, "not of the form SOURCE=TYPE");
    const PartName source = toPartName(text.substr(0, sign));
    const std::u16string type = toUtf16(text.substr(sign + 1));
    package.withSource(source, [&](const opc::model::RelationshipSource& owner) {
        if (owner.getRelationshipsByType(type).empty())
            throw Failure(ExitCode::NotProcessed, package.getName(), toUtf8(source.toString()),
                          "no relationship has the type \"" + text.substr(sign + 1) + '"');
        addSelector({owner.getSourceURI(), RelationshipSelectorType::ByType, type}, request);
    });
}

/// @throws Failure for wrong usage when a text does not have its form, and for what is not in the package.
SigningRequest makeSigningRequest(OpenPackage& package, const SignOptions& options) {
    if (options.parts.empty() && options.relationships.empty() && options.relationshipTypes.empty())
        return package.getSignatureManager().getAllPartsAndRels();
    SigningRequest request;
    addParts(package, options.parts, request);
    for (const std::string& text : options.relationships)
        addById(package, text, request);
    for (const std::string& text : options.relationshipTypes)
        addByType(package, text, request);
    return request;
}

std::string toText(const opc::model::DigitalSignature& signature) {
    return "Signed as " + toUtf8(signature.getName()) + ": " +
           countText(signature.getSignedPartNames().size(), "part") + ", " +
           countText(signature.getSignedRelationships().size(), "relationship") + '\n';
}

/// Names what the signature cannot cover, although it may be shown with the package.
void warn(const opc::model::SigningGaps& gaps, const std::string& file, Console& console) {
    std::vector<std::string> links;
    for (const opc::model::Relationship& each : gaps.danglingRelationships)
        links.push_back(relationshipText(toUtf8(each.getSourceURI().toString()), toUtf8(each.getID())) + " (" +
                        toUtf8(each.getTarget()) + ')');
    if (!links.empty())
        console.note(file + ": warning: these lead to no part: " + listText(links));
    if (!gaps.otherItems.empty())
        console.note(file +
                     ": warning: these items are not parts and so cannot be signed: " + listText(gaps.otherItems));
}

ExitCode sign(const SignOptions& options, Console& console) {
    Signer signer(options);
    PackageChange change(options, console, ChangeSubject::Signatures);
    opc::model::DigitalSignatureManager& manager = change.getPackage().getSignatureManager();
    const SigningRequest request = makeSigningRequest(change.getPackage(), options);
    const opc::model::SigningGaps gaps =
        manager.findSigningGaps(change.getPackage().getInput().getStore().getOtherItems());
    const bool isCountersigned =
        options.formToWrite == opc::model::SignatureForm::Library && manager.isPackageCountersigned();
    change.getPackage().getInput().expectReading(); // to sign
    change.getPackage().getInput().expectReading(); // and to verify that
    const std::string text = toText(signer.sign(manager, request));
    change.save(console);
    change.report(console, text);
    signer.warn(options.file, console);
    warn(gaps, options.file, console);
    if (isCountersigned)
        console.note(options.file +
                     ": warning: the countersignature does not hold any longer, for it covers that there "
                     "are no other signatures");
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, SignOptions& options) {
    addSigningOptions(command, options);
    addTexts(command, "--part", options.parts, "Sign this part")->type_name("PART");
    addTexts(command, "--relationship", options.relationships,
             "Sign this relationship of a part, or of / for the package")
        ->type_name("SOURCE#ID");
    addTexts(command, "--relationship-type", options.relationshipTypes,
             "Sign the relationships of a type; one that is added later breaks the signature")
        ->type_name("SOURCE=TYPE");
}

} // namespace

void addSignCommand(Tool& tool) {
    addCommand<SignOptions>(
        tool, {"sign", "Sign a package, or some of its parts and relationships",
               std::string(
                   "Without --part, --relationship and --relationship-type, all parts and all relationships of the\n"
                   "package are signed. Prints the name of the signature and how much it covers; what it covers\n"
                   "cannot be changed then without breaking it. Warns of relationships that lead to no part, of items\n"
                   "that are not parts and so cannot be signed, and of weak keys and digests. Relationships that are\n"
                   "signed are stored without white space between them, which some programs take for signed.\n\n"
                   "--form library does not cover the keywords of the core properties, and breaks a\n"
                   "countersignature of that form.\n\n") +
                   SIGNING_HELP + "\n\n" + PART_NAME_HELP +
                   "\n\nExamples:\n"
                   "  opcraft sign letter.docx --key alice.key --cert alice.pem --chain office.pem\n"
                   "  opcraft sign letter.docx --form office --p12 alice.p12 --password-file password -o signed.docx\n"
                   "  opcraft sign letter.docx --key alice.key --part /word/document.xml --relationship /#rId1",
               addOptions, sign});
}

} // namespace opcraft
