// SPDX-License-Identifier: Apache-2.0
#include "signatures/RelationshipsTransform.hpp"
#include "model/WellKnown.hpp"
#include "signatures/SignatureForm.hpp"
#include "xml/CanonicalXml.hpp"

#include <opc/errors/Errors.hpp>

#include <set>

namespace opc::model {

namespace {

PartName countersignaturePart() {
    return libraryForm().folder + (u"/" + std::u16string(signatureNamePrefix)) + countersignatureId + u".xml";
}

bool isOriginPart(const Package& package, const URI& source) {
    const auto origins = package.getRelationshipsByType(libraryForm().originRelationshipType);
    return !origins.empty() && origins.front().getTargetURI() == source;
}

void appendAttribute(std::string& out, const char* name, const std::u16string& value) {
    out += std::string(" ") + name + "=\"";
    appendCanonicalAttributeValue(out, value);
    out += '"';
}

} // namespace

bool isOwnOfCountersignature(const Package& package, const Relationship& relationship) {
    const SignatureForm& form = libraryForm();
    return relationship.getID() == std::u16string(signatureRelationshipIdPrefix) + countersignatureId &&
           relationship.getType() == form.signatureRelationshipType &&
           relationship.getTargetMode() == TargetMode::Internal &&
           countersignaturePart().getURI() == relationship.getTargetURI() && package.hasPart(countersignaturePart()) &&
           isOriginPart(package, relationship.getSourceURI());
}

std::vector<Relationship> selectRelationships(const RelationshipSource& source,
                                              const std::vector<RelationshipSelector>& selectors) {
    std::set<std::u16string> ids;
    std::set<std::u16string> types;
    for (const RelationshipSelector& selector : selectors)
        (selector.getSelectorType() == RelationshipSelectorType::ById ? ids : types)
            .insert(selector.getSelectionCriteria());
    std::vector<Relationship> selected;
    for (const Relationship& relationship : source.getRelationships())
        if ((ids.count(relationship.getID()) != 0 || types.count(relationship.getType()) != 0) &&
            !isOwnOfCountersignature(source.getPackage(), relationship))
            selected.push_back(relationship);
    return selected;
}

std::string transformRelationships(const std::vector<Relationship>& relationships) {
    std::string text = "<Relationships";
    appendAttribute(text, "xmlns", wellknown::relationshipsNamespace);
    text += '>';
    for (const Relationship& relationship : relationships) {
        text += "<Relationship";
        appendAttribute(text, "Id", relationship.getID());
        appendAttribute(text, "Target", relationship.getTarget());
        appendAttribute(text, "TargetMode",
                        relationship.getTargetMode() == TargetMode::External ? u"External" : u"Internal");
        appendAttribute(text, "Type", relationship.getType());
        text += "></Relationship>";
    }
    return text + "</Relationships>";
}

} // namespace opc::model
