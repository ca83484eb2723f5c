// SPDX-License-Identifier: Apache-2.0
#include "signatures/RelationshipsTransform.hpp"

#include "model/WellKnown.hpp"
#include "signatures/SignatureOrigin.hpp"
#include "xml/CanonicalXml.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Strings.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <set>

namespace opc::model {

namespace {

void appendAttribute(std::string& out, const char* name, const std::u16string& value) {
    out += std::string(" ") + name + "=\"";
    appendCanonicalAttributeValue(out, value);
    out += '"';
}

} // namespace

std::vector<RelationshipSelector> selectorsOf(const DigitalSignatureData::ReferenceData& reference, const URI& source) {
    std::vector<RelationshipSelector> selectors;
    for (const std::u16string& id : reference.relationshipSourceIds)
        selectors.emplace_back(source, RelationshipSelectorType::ById, id);
    for (const std::u16string& type : reference.relationshipSourceTypes)
        selectors.emplace_back(source, RelationshipSelectorType::ByType, type);
    return selectors;
}

std::string describe(const RelationshipSelector& selector) {
    const bool isById = selector.getSelectorType() == RelationshipSelectorType::ById;
    return (isById ? "Relationship with ID " : "Relationship with Type ") +
           detail::toUTF8String(selector.getSelectionCriteria(), false);
}

bool isOwnOfCountersignature(const Package& package, const Relationship& relationship, const SignatureFormRules& form) {
    if (form.isStandard() ||
        relationship.getID() != std::u16string(SIGNATURE_RELATIONSHIP_ID_PREFIX) + COUNTERSIGNATURE_ID ||
        relationship.getType() != form.signatureRelationshipType ||
        relationship.getTargetMode() != TargetMode::Internal)
        return false;
    const PartName part = makeSignaturePartName(form, std::u16string(SIGNATURE_NAME_PREFIX) + COUNTERSIGNATURE_ID);
    const auto origin = findOriginRelationship(package, form);
    return relationship.getTargetURI() == part.getURI() && package.hasPart(part) && origin &&
           origin->getTargetURI() == relationship.getSourceURI();
}

std::vector<Relationship> selectRelationships(const RelationshipSource& source,
                                              const std::vector<RelationshipSelector>& selectors,
                                              const SignatureFormRules& form) {
    std::set<std::u16string> ids;
    std::set<std::u16string> types;
    for (const RelationshipSelector& selector : selectors)
        (selector.getSelectorType() == RelationshipSelectorType::ById ? ids : types)
            .insert(selector.getSelectionCriteria());
    std::vector<Relationship> selected;
    for (const Relationship& relationship : source.getRelationships())
        if ((ids.count(relationship.getID()) != 0 || types.count(relationship.getType()) != 0) &&
            !isOwnOfCountersignature(source.getPackage(), relationship, form))
            selected.push_back(relationship);
    return selected;
}

std::string transformRelationships(const std::vector<Relationship>& relationships, RelationshipsReading reading,
                                   std::size_t whiteSpaces) {
    std::string text = "<Relationships";
    appendAttribute(text, "xmlns", wellknown::RELATIONSHIPS_NAMESPACE);
    text += '>';
    for (std::size_t i = 0; i < whiteSpaces; ++i)
        text += "<text></text>";
    for (const Relationship& relationship : relationships) {
        text += "<Relationship";
        appendAttribute(text, "Id", relationship.getID());
        appendAttribute(text, "Target", relationship.getTarget());
        const bool isExternal = relationship.getTargetMode() == TargetMode::External;
        if (isExternal || reading != RelationshipsReading::DefaultMode)
            appendAttribute(text, "TargetMode", isExternal ? u"External" : u"Internal");
        appendAttribute(text, "Type", relationship.getType());
        text += "></Relationship>";
    }
    return text + "</Relationships>";
}

std::size_t countWhiteSpaces(const std::vector<unsigned char>& relationshipsPart, const Limits& limits) {
    const ParserHandle parser = XercesHelper::createParser(limits);
    ByteArrayInAdaptor stream(relationshipsPart);
    const auto* root = XercesHelper::readDocumentFromStream(*parser, stream, false, u"", u"")->getDocumentElement();
    std::size_t count = 0;
    for (const auto* node = root->getFirstChild(); node != nullptr; node = node->getNextSibling())
        count += node->getNodeType() == xercesc::DOMNode::TEXT_NODE ? 1 : 0;
    return count;
}

} // namespace opc::model
