// SPDX-License-Identifier: Apache-2.0
#include "model/relationships/RelationshipSerializer.hpp"

#include <opc/core/ByteArrayOutAdaptor.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/relationships/RelationshipSource.hpp>

#include "errors/ErrorPlaces.hpp"
#include "iri/IRI.hpp"
#include "model/WellKnown.hpp"
#include "model/relationships/RelationshipManager.hpp"
#include "xml/BoundedParser.hpp"
#include "xml/SchemaValidation.hpp"
#include "xml/TreeWalk.hpp"
#include "xml/XmlPlaces.hpp"

#include <xercesc/util/XMLUni.hpp>

#include <optional>

namespace opc::model {

namespace {

/// The URI in an attribute.
URI readURI(const std::u16string& text, const char* message) {
    try {
        return text;
    } catch (const InvalidURI&) {
        throw InvalidPartContent(message);
    }
}

/// Validation treats the value as a name, for which leading and trailing blanks are ignored.
void throwIfNotID(const std::u16string& id) {
    if (iri::withoutSpaceAtEnds(id).size() != id.size())
        throw InvalidPartContent("Relationship ID is not a valid xsd::ID");
}

void throwIfNoTarget(const std::u16string& target) {
    if (target.empty())
        throw InvalidPartContent("Target is empty");
}

const std::u16string& readExternalTarget(const std::u16string& target) {
    throwIfNoTarget(target);
    if (!RelationshipSource::isValidTarget(std::u16string(iri::withoutSpaceAtEnds(target))) || !iri::isAnyURI(target))
        throw InvalidPartContent("Target is not a valid IRI for an external relationship");
    return target;
}

URI readInternalTarget(const std::u16string& target) {
    throwIfNoTarget(target);
    const URI uri = readURI(target, "Target is not a valid URI for an internal relationship");
    if (uri.isOpaque())
        throw InvalidPartContent("Target of an internal relationship cannot be an opaque URI");
    return uri;
}

} // namespace

RelationshipSerializer::RelationshipSerializer(const Limits& limits)
    : limits_(limits), parser_(XercesHelper::createParser(limits)), writer_(XercesHelper::createPrettyPrintingWriter()),
      compactWriter_(XercesHelper::createWriter()), namespace_(wellknown::RELATIONSHIPS_NAMESPACE),
      relationships_(u"Relationships"), relationship_(u"Relationship"), id_(u"Id"), type_(u"Type"), target_(u"Target"),
      targetMode_(u"TargetMode"), external_(u"External") {
    parser_->getDomConfig()->setParameter(xercesc::XMLUni::fgXercesUseCachedGrammarInParse, true);
    loadEmbeddedSchema(*parser_, embedded::opc_relationships);
    // The text as written is resolved, compared and signed, as in every other program.
    dynamic_cast<BoundedParser&>(*parser_).setKeepsWhiteSpace(true);
}

void RelationshipSerializer::load(InputStream& stream, RelationshipManager& manager) {
    manager.clear();
    manager.setModified(true);
    const xercesc::DOMDocument* document = nullptr;
    try {
        document = XercesHelper::readDocumentFromStream(*parser_, stream, true, u"", u"");
    } catch (const InvalidXMLDocument& e) {
        throwAs<InvalidPartContent>(e);
    }
    readDocument(*document, manager);
    manager.setModified(false);
}

void RelationshipSerializer::readDocument(const xercesc::DOMDocument& document, RelationshipManager& manager) {
    const xercesc::DOMElement* root = document.getDocumentElement();
    if (relationships_ != root->getLocalName())
        throwAt<InvalidPartContent>(placeOf(*parser_, *root), // the schema allows Relationship as a root too
                                    "The root element is not Relationships");
    for (const xercesc::DOMElement* element : XercesHelper::getElementsNS(root, namespace_, relationship_))
        if (!manager.add(readRelationship(element, manager.getSourceURI())))
            throwAt<InvalidPartContent>(placeOf(*parser_, *element, id_),
                                        "ID value '" + detail::toUTF8String(element->getAttribute(id_), false) +
                                            "' is not unique");
}

Relationship RelationshipSerializer::readRelationship(const xercesc::DOMElement* element, const URI& source) {
    std::u16string type;
    std::u16string id;
    std::u16string targetMode;
    std::u16string target;
    XercesHelper::getElementAttribute(element, type_, type);
    XercesHelper::getElementAttribute(element, id_, id);
    XercesHelper::getElementAttribute(element, targetMode_, targetMode);
    XercesHelper::getElementAttribute(element, target_, target);

    const XMLCh* judged = type_;
    std::optional<Relationship> relationship;
    checkAt(*parser_, *element, judged, [&] {
        throwIfNotType(type);
        judged = id_;
        throwIfNotID(id);
        judged = target_;
        relationship = targetMode == external_ ? Relationship(id, type, source, readExternalTarget(target))
                                               : Relationship(id, type, source, readInternalTarget(target));
    });
    return *std::move(relationship);
}

void RelationshipSerializer::throwIfNotType(const std::u16string& type) {
    if (type.empty())
        throw InvalidPartContent("Type is empty");
    if (types_.count(type) == 0) {
        readURI(type, "Type is not a valid URI");
        types_.insert(type);
    }
}

bool RelationshipSerializer::isCompact(InputStream& stream) {
    const auto* document = XercesHelper::readDocumentFromStream(*parser_, stream, true, u"", u"");
    TreeWalk walk(document->getDocumentElement());
    while (const xercesc::DOMNode* node = walk.next())
        if (node->getNodeType() != xercesc::DOMNode::ELEMENT_NODE)
            return false;
    return true;
}

std::vector<unsigned char> RelationshipSerializer::save(const RelationshipManager& manager) {
    std::vector<unsigned char> bytes;
    try {
        const DocumentHandle document = XercesHelper::createDocument();
        document->setXmlStandalone(true);
        xercesc::DOMElement* root = XercesHelper::appendElementNS(document.get(), namespace_, relationships_);
        for (const auto& entry : manager.getRelationships())
            appendRelationship(root, entry.second);
        ByteArrayOutAdaptor out(bytes);
        XercesHelper::writeDocumentToStream(manager.isCompact() ? *compactWriter_ : *writer_, document.get(), out,
                                            limits_);
    } catch (const InvalidXMLDocument& e) {
        throw InvalidPartContent(e.what());
    }
    return bytes;
}

void RelationshipSerializer::appendRelationship(xercesc::DOMElement* root, const Relationship& relationship) const {
    xercesc::DOMElement* element = XercesHelper::appendElementNS(root, namespace_, relationship_);
    XercesHelper::setElementAttribute(element, id_, relationship.getID());
    XercesHelper::setElementAttribute(element, type_, relationship.getType());
    XercesHelper::setElementAttribute(element, target_, relationship.getTarget());
    if (relationship.getTargetMode() == TargetMode::External)
        XercesHelper::setElementAttribute(element, targetMode_, external_);
}

} // namespace opc::model
