// SPDX-License-Identifier: Apache-2.0
#include "opcraft/SigningRequests.hpp"

#include "opcraft/Failure.hpp"
#include "opcraft/Names.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/Tool.hpp"

#include <set>

namespace opcraft {

namespace {

using opc::model::PartName;
using opc::model::RelationshipSelector;
using opc::model::RelationshipSelectorType;
using opc::model::SigningRequest;

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

/// No ID holds a "#", so the last one ends the source.
void addById(OpenPackage& package, const std::string& text, SigningRequest& request) {
    const std::size_t sign = text.rfind('#');
    if (sign == std::string::npos || sign == 0 || sign + 1 == text.size())
        throw wrongArgument(text, "this is no SOURCE#ID");
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

/// Where the source ends. Its name may hold a "=" too: the first one counts in front of which a source stands.
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
        throw wrongArgument(text, "this is no SOURCE=TYPE");
    const PartName source = toPartName(text.substr(0, sign));
    const std::u16string type = toUtf16(text.substr(sign + 1));
    package.withSource(source, [&](const opc::model::RelationshipSource& owner) {
        if (owner.getRelationshipsByType(type).empty())
            throw Failure(ExitCode::NotProcessed, package.getName(), toUtf8(source.toString()),
                          "no relationship has the type \"" + text.substr(sign + 1) + '"');
        addSelector({owner.getSourceURI(), RelationshipSelectorType::ByType, type}, request);
    });
}

} // namespace

void addSelectionOptions(CLI::App& command, SelectionOptions& options) {
    addTexts(command, "--part", options.parts, "Sign this part")->type_name("PART");
    addTexts(command, "--relationship", options.relationships,
             "Sign this relationship of a part, or of / for the package")
        ->type_name("SOURCE#ID");
    addTexts(command, "--relationship-type", options.relationshipTypes,
             "Sign the relationships of a type; one that is added later breaks the signature")
        ->type_name("SOURCE=TYPE");
}

SigningRequest makeSigningRequest(OpenPackage& package, const SelectionOptions& options) {
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

} // namespace opcraft
