// SPDX-License-Identifier: Apache-2.0
#include "model/coreproperties/CorePropertiesRules.hpp"

#include <opc/errors/Errors.hpp>
#include <opc/xml/XercesHelper.hpp>

#include "errors/ErrorPlaces.hpp"
#include "model/coreproperties/CorePropertiesVocabulary.hpp"
#include "xml/XmlPlaces.hpp"

#include <string_view>

namespace opc::model {

namespace {

namespace vocabulary = coreproperties;
using xercesc::DOMElement;

bool isOneOf(const DOMElement* element, std::u16string_view first, std::u16string_view second) {
    const std::u16string_view name = element->getLocalName();
    return name == first || name == second;
}

using Parser = xercesc::DOMLSParser;

[[noreturn]] void refuse(const Parser& parser, const DOMElement* element, const XMLCh* attribute, const char* message) {
    throwAt<InvalidPartContent>(placeOf(parser, *element, attribute), message);
}

void throwIfMarkupCompatibilityIsUsed(const Parser& parser, const DOMElement* root) {
    // The second call looks for a prefix spelt like the namespace, so a declaration with a prefix passes: only a
    // default namespace is refused.
    if (root->isDefaultNamespace(vocabulary::MARKUP_COMPATIBILITY) ||
        root->lookupNamespaceURI(vocabulary::MARKUP_COMPATIBILITY) != nullptr)
        refuse(parser, root, u"xmlns", "Core properties shall not use the Markup Compatibility namespace. [M4.2]");
}

void throwIfRefined(const Parser& parser, const DOMElement* root) {
    auto elements = XercesHelper::getElementsNS(root, XercesString(vocabulary::DCTERMS), XercesString(u"*"));
    if (std::u16string_view(root->getNamespaceURI()) == vocabulary::DCTERMS)
        elements.insert(elements.begin(), const_cast<DOMElement*>(root));
    for (const DOMElement* element : elements)
        if (!isOneOf(element, u"created", u"modified"))
            refuse(parser, element, nullptr,
                   "Core properties shall not use refinements to the Dublin Core except for the "
                   "\"created\" and \"modified\" elements. [M4.3]");
}

/// The local names of elements are checked, whatever their namespace.
void throwIfAttributesAreMisplaced(const Parser& parser, const DOMElement* element) {
    if (element->hasAttributeNS(vocabulary::XML, u"lang") && !isOneOf(element, u"keywords", u"value"))
        refuse(parser, element, u"xml:lang",
               "Core properties shall not use the xml:lang attribute except on the \"keywords\" and "
               "\"value\" elements. [M4.4]");
    const bool isDated = isOneOf(element, u"created", u"modified");
    const bool isTyped = element->hasAttributeNS(vocabulary::XSI, u"type");
    if (!isTyped && isDated)
        refuse(parser, element, nullptr,
               "Core properties must use the xsi:type attribute on the \"created\" and \"modified\" "
               "elements. [M4.5]");
    // The text of the attribute counts, so another prefix for the namespace is refused.
    if (isTyped &&
        (!isDated || std::u16string_view(element->getAttributeNS(vocabulary::XSI, u"type")) != vocabulary::W3CDTF))
        refuse(parser, element, u"xsi:type",
               "Core properties shall not use the xsi:type attribute except on the \"created\" and "
               "\"modified\" elements. [M4.5]");
    for (const DOMElement* child = element->getFirstElementChild(); child != nullptr;
         child = child->getNextElementSibling())
        throwIfAttributesAreMisplaced(parser, child);
}

} // namespace

void throwIfRuleIsBroken(const Parser& parser, const DOMElement* root) {
    throwIfMarkupCompatibilityIsUsed(parser, root);
    throwIfRefined(parser, root);
    throwIfAttributesAreMisplaced(parser, root);
    // The schemas allow other elements as roots too; nothing of them would be read.
    if (!isOneOf(root, u"coreProperties", u"coreProperties"))
        refuse(parser, root, nullptr, "The root element is not coreProperties");
}

} // namespace opc::model
