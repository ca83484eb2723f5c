// SPDX-License-Identifier: Apache-2.0
#include "model/relationships/ValidatingRelationshipsReader.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include "errors/ErrorPlaces.hpp"
#include "model/WellKnown.hpp"
#include "model/relationships/RelationshipManager.hpp"
#include "xml/BoundedParser.hpp"
#include "xml/SchemaValidation.hpp"
#include "xml/TreeWalk.hpp"
#include "xml/XmlPlaces.hpp"

#include <xercesc/util/XMLUni.hpp>

#include <optional>

namespace opc::model {

ValidatingRelationshipsReader::ValidatingRelationshipsReader(const Limits& limits)
    : parser_(XercesHelper::createParser(limits)), namespace_(wellknown::RELATIONSHIPS_NAMESPACE),
      relationships_(u"Relationships"), relationship_(u"Relationship"), id_(relationships::ID),
      type_(relationships::TYPE), target_(relationships::TARGET), targetMode_(u"TargetMode") {
    parser_->getDomConfig()->setParameter(xercesc::XMLUni::fgXercesUseCachedGrammarInParse, true);
    loadEmbeddedSchema(*parser_, embedded::opc_relationships);
    // The text as written is resolved, compared and signed, as in every other program.
    dynamic_cast<BoundedParser&>(*parser_).setKeepsWhiteSpace(true);
}

void ValidatingRelationshipsReader::read(const std::vector<unsigned char>& bytes, RelationshipRules& rules,
                                         RelationshipManager& manager) {
    const xercesc::DOMElement* root = nullptr;
    try {
        root = parse(bytes);
    } catch (const InvalidXMLDocument& e) {
        throwAs<InvalidPartContent>(e);
    }
    if (relationships_ != root->getLocalName())
        throwAt<InvalidPartContent>(placeOf(*parser_, *root), // the schema allows Relationship as a root too
                                    "The root element is not Relationships");
    for (const xercesc::DOMElement* element : XercesHelper::getElementsNS(root, namespace_, relationship_))
        if (!manager.add(readRelationship(element, rules, manager.getSourceURI())))
            throwAt<InvalidPartContent>(placeOf(*parser_, *element, id_),
                                        "ID value '" + detail::toUTF8String(element->getAttribute(id_), false) +
                                            "' is not unique");
}

Relationship ValidatingRelationshipsReader::readRelationship(const xercesc::DOMElement* element,
                                                             RelationshipRules& rules, const URI& source) {
    RelationshipText text;
    std::u16string targetMode;
    XercesHelper::getElementAttribute(element, type_, text.type);
    XercesHelper::getElementAttribute(element, id_, text.id);
    XercesHelper::getElementAttribute(element, targetMode_, targetMode);
    XercesHelper::getElementAttribute(element, target_, text.target);
    text.isExternal = targetMode == u"External";

    const char16_t* judged = nullptr;
    std::optional<Relationship> relationship;
    checkAt(*parser_, *element, judged, [&] { relationship = rules.read(text, source, judged); });
    return *std::move(relationship);
}

bool ValidatingRelationshipsReader::isCompact(const std::vector<unsigned char>& bytes) {
    TreeWalk walk(parse(bytes));
    while (const xercesc::DOMNode* node = walk.next())
        if (node->getNodeType() != xercesc::DOMNode::ELEMENT_NODE)
            return false;
    return true;
}

const xercesc::DOMElement* ValidatingRelationshipsReader::parse(const std::vector<unsigned char>& bytes) {
    ByteArrayInAdaptor stream(bytes);
    return XercesHelper::readDocumentFromStream(*parser_, stream, true, u"", u"")->getDocumentElement();
}

} // namespace opc::model
