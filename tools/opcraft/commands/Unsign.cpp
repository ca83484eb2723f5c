// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"
#include "opcraft/PackageChange.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/signatures/DigitalSignatureManager.hpp>
#include <opc/signatures/SignatureRemoval.hpp>

#include <algorithm>
#include <set>
#include <vector>

namespace opcraft {

namespace {

using opc::model::DigitalSignature;
using opc::model::DigitalSignatureManager;
using opc::model::PartName;

struct UnsignOptions : ChangeOptions {
    std::vector<std::string> names{};
    bool countersignature = false;
    bool all = false;
};

std::vector<DigitalSignature> findCountersignatures(const DigitalSignatureManager& manager) {
    std::vector<DigitalSignature> found = manager.getSignatures();
    std::erase_if(found, [&](const DigitalSignature& each) { return !manager.isCountersignature(each); });
    return found;
}

bool contains(const std::vector<DigitalSignature>& signatures, const DigitalSignature& signature) {
    return std::any_of(
        signatures.begin(), signatures.end(),
        [&](const DigitalSignature& each) { return each.getImpl() == signature.getImpl(); });
}

DigitalSignature find(const DigitalSignatureManager& manager, const std::string& name) {
    const std::u16string wanted = toUtf16(name);
    for (const DigitalSignature& signature : manager.getSignatures())
        if (signature.getName() == wanted)
            return manager.getSignature(wanted); // of several of one name, always the same
    throw Failure(ExitCode::NotProcessed, "", "",
                  "no signature \"" + name + "\"; 'opcraft signatures' shows those of a package");
}

/// The signatures to remove, each once.
std::vector<DigitalSignature> select(const DigitalSignatureManager& manager, const UnsignOptions& options) {
    std::vector<DigitalSignature> selected;
    const auto add = [&](const DigitalSignature& signature) {
        if (!contains(selected, signature))
            selected.push_back(signature);
    };
    for (const std::string& name : options.names)
        add(find(manager, name));
    if (!options.countersignature)
        return selected;
    const std::vector<DigitalSignature> countersignatures = findCountersignatures(manager);
    if (countersignatures.empty())
        throw Failure(ExitCode::NotProcessed, "", "", "the package is not countersigned");
    for (const DigitalSignature& each : countersignatures)
        add(each);
    return selected;
}

/// A countersignature is kept only when it covers none of the signatures to remove.
void throwIfCountersigned(const DigitalSignatureManager& manager, const std::set<PartName>& parts) {
    if (const auto signature = findCountersigned(manager, parts))
        throw Failure(ExitCode::NotProcessed, "", "",
                      toUtf8(signature->getName()) +
                          " is countersigned; --countersignature removes the countersignature too");
}

std::string keptLines(const opc::model::SignatureRemoval& removal) {
    std::string text;
    for (const opc::model::KeptSignaturePart& kept : removal.kept) {
        std::vector<std::string> reasons;
        if (kept.hasContent)
            reasons.emplace_back("its content");
        for (const opc::model::Relationship& each : kept.relationships)
            reasons.push_back(relationshipText(toUtf8(each.getSourceURI().toString()), toUtf8(each.getID())));
        text += escaped("Kept " + toUtf8(kept.name.toString()) + " because of " + listText(reasons)) + '\n';
    }
    return text;
}

ExitCode removeSome(UnsignOptions options, Console& console) {
    options.signatures = true;
    PackageChange change(options, console, ChangeSubject::Signatures);
    DigitalSignatureManager& manager = change.getPackage().getSignatureManager();
    const std::vector<DigitalSignature> selected = select(manager, options);
    std::string text;
    std::set<PartName> parts;
    for (const DigitalSignature& signature : selected) {
        text += "Removed " + escaped(toUtf8(signature.getName())) + '\n';
        parts.insert(signature.getPartName());
    }
    throwIfCountersigned(manager, parts);
    text += keptLines(removeSignatures(change.getPackage().getModel(), parts));
    change.save(console);
    change.report(console, text);
    return ExitCode::Fine;
}

/// Does not read the signatures, so that invalid ones are removed, too.
ExitCode removeAll(const UnsignOptions& options, Console& console) {
    PackageChange change(options, console, ChangeSubject::Signatures);
    const opc::model::FoundSignatures& found = change.getSignatures();
    const bool isSigned = found.loose.size() < found.xml.size() + found.origins.size();
    const opc::model::SignatureRemoval removal = removeSignatures(change.getPackage().getModel());
    std::string text;
    for (const PartName& name : removal.removed)
        text += "Removed " + escaped(toUtf8(name.toString())) + '\n';
    text += keptLines(removal);
    if (text.empty())
        text = "No signatures.\n";
    for (const std::string& part : found.loose)
        text +=
            "Kept " + escaped(part) + ", which no signature origin of the package leads to; 'opcraft rm' removes it\n";
    change.save(console, isSigned);
    change.report(console, text);
    return ExitCode::Fine;
}

ExitCode unsign(const UnsignOptions& options, Console& console) {
    if (options.names.empty() && !options.countersignature && !options.all)
        throw Failure(ExitCode::WrongUsage, "", "", "NAME, --countersignature or --all is required");
    return options.all ? removeAll(options, console) : removeSome(options, console);
}

void addOptions(CLI::App& command, UnsignOptions& options) {
    addChangeOptions(command, options);
    CLI::Option* names = addTexts(command, "NAME", options.names, "A signature, as 'opcraft signatures' names it");
    names->allow_extra_args();
    CLI::Option* countersignature =
        addFlag(command, "--countersignature", options.countersignature, "Remove all countersignatures");
    addFlag(command, "--all", options.all, "Remove all signatures")->excludes(names)->excludes(countersignature);
}

} // namespace

void addUnsignCommand(Tool& tool) {
    addCommand<UnsignOptions>(
        tool, {"unsign", "Remove signatures from a package",
               "A signature that the countersignature covers is removed only together with that. --all removes\n"
               "signatures of all forms, also those that cannot be read.\n\n"
               "Nothing else is lost. The part of a signature, of its certificate or of the origin stays, and is\n"
               "named, when other relationships start from it or lead to it, or when an origin has content. So does,\n"
               "with --all, a part that is a signature by its content type alone, to which no signature origin\n"
               "leads. 'opcraft rm' removes them. Items with a PKCS#7 signature of the file stay.\n\n"
               "Examples:\n  opcraft unsign letter.docx sig1\n  opcraft unsign letter.docx sig1 --countersignature\n"
               "  opcraft unsign letter.docx --all -o plain.docx",
               addOptions, unsign});
}

} // namespace opcraft
