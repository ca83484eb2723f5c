// SPDX-License-Identifier: Apache-2.0
#include "model/coreproperties/ValidatingCorePropertiesReader.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include "errors/ErrorPlaces.hpp"
#include "model/coreproperties/CorePropertiesRules.hpp"
#include "model/coreproperties/CorePropertiesVocabulary.hpp"
#include "model/coreproperties/CorePropertyText.hpp"
#include "xml/SchemaValidation.hpp"

#include <xercesc/util/XMLUni.hpp>

namespace opc::model {

namespace {

namespace vocabulary = coreproperties;
using xercesc::DOMElement;

CoreProperties::Keyword readKeyword(const DOMElement* element) {
    CoreProperties::Keyword keyword;
    XercesHelper::getTrimmedElementText(element, keyword.first);
    XercesHelper::getElementAttributeNS(element, XercesString(vocabulary::XML), XercesString(u"lang"), keyword.second);
    return keyword;
}

std::vector<CoreProperties::Keyword> readKeywords(const DOMElement* element) {
    std::vector<CoreProperties::Keyword> keywords{readKeyword(element)};
    for (const DOMElement* value : vocabulary::children(element, vocabulary::CP, u"value"))
        keywords.push_back(readKeyword(value));
    return keywords;
}

void readProperty(const CoreProperty& property, const DOMElement* element, CoreProperties& properties) {
    std::u16string text;
    if (const auto* keywords = std::get_if<CoreProperty::Keywords>(&property.access))
        (properties.*keywords->set)(readKeywords(element));
    else if (XercesHelper::getElementText(element, text))
        setFromText(properties, property, text);
}

} // namespace

ValidatingCorePropertiesReader::ValidatingCorePropertiesReader(const Limits& limits)
    : parser_(XercesHelper::createParser(limits)) {
    parser_->getDomConfig()->setParameter(xercesc::XMLUni::fgXercesUseCachedGrammarInParse, true);
    for (const EmbeddedSchema* schema :
         {&embedded::xml, &embedded::dc, &embedded::dcmitype, &embedded::dcterms, &embedded::opc_coreProperties})
        loadEmbeddedSchema(*parser_, *schema);
}

void ValidatingCorePropertiesReader::read(const std::vector<unsigned char>& bytes, CoreProperties& properties) {
    ByteArrayInAdaptor stream(bytes);
    const DOMElement* root = nullptr;
    try {
        root = XercesHelper::readDocumentFromStream(*parser_, stream, true, u"", u"")->getDocumentElement();
    } catch (const InvalidXMLDocument& e) {
        throwAs<InvalidPartContent>(e);
    }
    properties.clear();
    throwIfRuleIsBroken(*parser_, root);
    for (const CoreProperty& property : getAllCoreProperties())
        if (const DOMElement* element =
                vocabulary::firstChild(root, property.namespaceURI, toString(std::string_view(property.name))))
            readProperty(property, element, properties);
}

} // namespace opc::model
