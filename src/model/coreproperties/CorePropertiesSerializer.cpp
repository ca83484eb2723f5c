// SPDX-License-Identifier: Apache-2.0
#include "model/coreproperties/CorePropertiesSerializer.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Characters.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/CoreProperty.hpp>

#include "errors/ErrorPlaces.hpp"
#include "model/coreproperties/CorePropertiesRules.hpp"
#include "model/coreproperties/CorePropertiesVocabulary.hpp"
#include "xml/SchemaValidation.hpp"
#include "xml/XercesErrors.hpp"

#include <xercesc/util/XMLUni.hpp>

namespace opc::model {

namespace {

namespace vocabulary = coreproperties;
using xercesc::DOMElement;

/// The name of an element with its prefix: "dc:title".
std::u16string qualifiedName(const CoreProperty& property) {
    const std::u16string_view uri = property.namespaceURI;
    const std::string prefix = uri == vocabulary::CP ? "cp:" : uri == vocabulary::DC ? "dc:" : "dcterms:";
    return toString(prefix + property.name);
}

/// Calls an action with every property and its accessors, in the order in which they are written.
template <class Action>
void forEachProperty(Action action) {
    for (const CoreProperty& property : getAllCoreProperties())
        std::visit([&](const auto& access) { action(property, access); }, property.access);
}

/// The language of xs:language: up to eight letters, then groups of up to eight letters and digits after hyphens.
bool isLanguage(std::u16string_view tag) noexcept {
    std::size_t length = 0;
    bool isFirstGroup = true;
    for (const char16_t unit : tag) {
        if (unit == u'-' && length != 0) {
            length = 0;
            isFirstGroup = false;
        } else if (!(detail::isLetter(unit) || (detail::isDigit(unit) && !isFirstGroup)) || ++length > 8) {
            return false;
        }
    }
    return length != 0;
}

DOMElement* find(const DOMElement* root, const CoreProperty& property) {
    return vocabulary::firstChild(root, property.namespaceURI, toString(std::string_view(property.name)));
}

class Reader {
public:
    Reader(const DOMElement* root, CoreProperties& properties) : root_(root), properties_(properties) {}

    void operator()(const CoreProperty& property, const CoreProperty::Text& access) {
        std::u16string text;
        if (XercesHelper::getElementText(find(root_, property), text))
            (properties_.*access.set)(text);
    }

    /// A text that the schema accepts and the time type cannot hold leaves the property absent.
    void operator()(const CoreProperty& property, const CoreProperty::Time& access) {
        std::u16string text;
        if (!XercesHelper::getElementText(find(root_, property), text))
            return;
        const auto time = convertStringToTime(text);
        if (!time.is_special())
            (properties_.*access.set)(time);
    }

    void operator()(const CoreProperty& property, const CoreProperty::Keywords& access) {
        const DOMElement* keywords = find(root_, property);
        if (keywords == nullptr)
            return;
        std::vector<CoreProperties::Keyword> values{readKeyword(keywords)};
        for (const DOMElement* value : vocabulary::children(keywords, vocabulary::CP, u"value"))
            values.push_back(readKeyword(value));
        (properties_.*access.set)(values);
    }

private:
    static CoreProperties::Keyword readKeyword(const DOMElement* element) {
        CoreProperties::Keyword keyword;
        XercesHelper::getTrimmedElementText(element, keyword.first);
        XercesHelper::getElementAttributeNS(element, XercesString(vocabulary::XML), XercesString(u"lang"),
                                            keyword.second);
        return keyword;
    }

    const DOMElement* root_;
    CoreProperties& properties_;
};

class Writer {
public:
    Writer(DOMElement* root, const CoreProperties& properties) : root_(root), properties_(properties) {}

    void operator()(const CoreProperty& property, const CoreProperty::Text& access) {
        if (const auto value = (properties_.*access.get)())
            XercesHelper::setElementText(append(property), *value);
    }

    void operator()(const CoreProperty& property, const CoreProperty::Time& access) {
        const auto value = (properties_.*access.get)();
        if (!value)
            return;
        if (value->is_special())
            throw InvalidPartContent("The time of " + detail::toUTF8String(qualifiedName(property)) +
                                     " is not a point in time");
        DOMElement* element = append(property);
        XercesHelper::setElementText(element, convertTimeToString(*value));
        if (std::u16string_view(property.namespaceURI) == vocabulary::DCTERMS)
            XercesHelper::setElementAttributeNS(element, XercesString(vocabulary::XSI), XercesString(u"xsi:type"),
                                                vocabulary::W3CDTF);
    }

    void operator()(const CoreProperty& property, const CoreProperty::Keywords& access) {
        const auto keywords = (properties_.*access.get)();
        if (!keywords || keywords->empty())
            return;
        DOMElement* element = append(property);
        writeKeyword(element, keywords->front());
        for (auto keyword = keywords->begin() + 1; keyword != keywords->end(); ++keyword)
            writeKeyword(
                XercesHelper::appendElementNS(element, XercesString(vocabulary::CP), XercesString(u"cp:value")),
                *keyword);
    }

private:
    DOMElement* append(const CoreProperty& property) {
        return XercesHelper::appendElementNS(root_, XercesString(property.namespaceURI),
                                             XercesString(qualifiedName(property)));
    }

    static void writeKeyword(DOMElement* element, const CoreProperties::Keyword& keyword) {
        XercesHelper::setElementText(element, keyword.first);
        if (keyword.second.empty())
            return;
        if (!isLanguage(keyword.second))
            throw InvalidPartContent("The language of a keyword is not a language tag: " +
                                     detail::toUTF8String(keyword.second, false));
        XercesHelper::setElementAttributeNS(element, XercesString(vocabulary::XML), XercesString(u"xml:lang"),
                                            keyword.second);
    }

    DOMElement* root_;
    const CoreProperties& properties_;
};

void declare(DOMElement* root, const char16_t* qualifiedName, const char16_t* namespaceURI) {
    XercesHelper::setElementAttributeNS(root, XercesString(vocabulary::XMLNS), XercesString(qualifiedName),
                                        namespaceURI);
}

DocumentHandle makeDocument(const CoreProperties& properties) {
    DocumentHandle document = XercesHelper::createDocument();
    document->setXmlStandalone(true);
    DOMElement* root =
        XercesHelper::appendElementNS(document.get(), XercesString(vocabulary::CP), XercesString(u"cp:coreProperties"));
    declare(root, u"xmlns:dc", vocabulary::DC);
    declare(root, u"xmlns:dcmitype", vocabulary::DCMITYPE);
    declare(root, u"xmlns:dcterms", vocabulary::DCTERMS);
    declare(root, u"xmlns:xsi", vocabulary::XSI);
    forEachProperty(Writer(root, properties));
    return document;
}

/// Puts an element in the place of another one of another document, either null for none.
/// @return false when they are equal.
bool replaceElement(DOMElement* root, DOMElement* present, const DOMElement* wanted) {
    if (present == wanted || (present != nullptr && wanted != nullptr && present->isEqualNode(wanted)))
        return false;
    xercesc::DOMNode* const copy = wanted == nullptr ? nullptr : root->getOwnerDocument()->importNode(wanted, true);
    if (copy == nullptr)
        root->removeChild(present);
    else if (present == nullptr)
        root->appendChild(copy);
    else
        root->replaceChild(copy, present);
    return true;
}

} // namespace

CorePropertiesSerializer::CorePropertiesSerializer(const Limits& limits)
    : limits_(limits), parser_(XercesHelper::createParser(limits)),
      writer_(XercesHelper::createPrettyPrintingWriter()) {
    parser_->getDomConfig()->setParameter(xercesc::XMLUni::fgXercesUseCachedGrammarInParse, true);
    for (const EmbeddedSchema* schema :
         {&embedded::xml, &embedded::dc, &embedded::dcmitype, &embedded::dcterms, &embedded::opc_coreProperties})
        loadEmbeddedSchema(*parser_, *schema);
}

void CorePropertiesSerializer::load(InputStream& stream, CoreProperties& properties) {
    const xercesc::DOMDocument* document = nullptr;
    try {
        document = XercesHelper::readDocumentFromStream(*parser_, stream, true, u"", u"");
    } catch (const InvalidXMLDocument& e) {
        throwAs<InvalidPartContent>(e);
    }
    properties.clear();
    const DOMElement* root = document->getDocumentElement();
    throwIfRuleIsBroken(*parser_, root);
    forEachProperty(Reader(root, properties));
}

void CorePropertiesSerializer::save(const CoreProperties& properties, OutputStream& stream) {
    try {
        const DocumentHandle document = makeDocument(properties);
        XercesHelper::writeDocumentToStream(*writer_, document.get(), stream, limits_);
    } catch (const InvalidXMLDocument& e) {
        throw InvalidPartContent(e.what());
    }
}

bool CorePropertiesSerializer::update(const std::vector<unsigned char>& part, const CoreProperties& properties,
                                      const std::set<const CoreProperty*>& changed, OutputStream& stream) {
    CoreProperties ignored;
    ByteArrayInAdaptor checked(part);
    load(checked, ignored);
    try {
        // Without validation, which changes white space.
        const ParserHandle parser = XercesHelper::createParser(limits_);
        ByteArrayInAdaptor input(part);
        const auto* const document = XercesHelper::readDocumentFromStream(*parser, input, false, u"", u"");
        const DocumentHandle values = makeDocument(properties);
        bool isChanged = false;
        for (const CoreProperty* property : changed)
            isChanged |= translatingXercesErrors([&] {
                DOMElement* const root = document->getDocumentElement();
                return replaceElement(root, find(root, *property), find(values->getDocumentElement(), *property));
            });
        if (isChanged)
            XercesHelper::writeDocumentToStream(*XercesHelper::createWriter(), document, stream, limits_);
        return isChanged;
    } catch (const InvalidXMLDocument& e) {
        throw InvalidPartContent(e.what());
    }
}

} // namespace opc::model
