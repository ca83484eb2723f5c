// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Characters.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>
#include <opc/errors/Errors.hpp>

#include "errors/ErrorPlaces.hpp"
#include "model/coreproperties/CorePropertiesRules.hpp"
#include "model/coreproperties/CorePropertiesSerializer.hpp"
#include "model/coreproperties/CorePropertiesVocabulary.hpp"
#include "xml/SchemaValidation.hpp"

#include <xercesc/util/XMLUni.hpp>

namespace opc::model {

namespace {

namespace vocabulary = coreproperties;
using xercesc::DOMElement;

/// One property: where it stands in the part, and how the value class gives and takes it.
template <class Value>
struct Property {
    const char16_t* namespaceURI;
    const char16_t* qualifiedName;
    std::optional<Value> (CoreProperties::*get)() const;
    void (CoreProperties::*set)(const Value&);

    const char16_t* localName() const { return qualifiedName + std::u16string_view(qualifiedName).find(u':') + 1; }
};

using TextProperty = Property<std::u16string>;
using TimeProperty = Property<boost::posix_time::ptime>;

template <class Value>
DOMElement* firstChild(const DOMElement* root, const Property<Value>& property) {
    return vocabulary::firstChild(root, property.namespaceURI, property.localName());
}

/// Calls an action with every property but the keywords, in the order in which they are written; with nothing in the
/// place of the keywords.
template <class Action>
void forEachProperty(Action action) {
    using P = CoreProperties;
    using namespace vocabulary;
    action(TextProperty{cp, u"cp:category", &P::getCategory, &P::setCategory});
    action(TextProperty{cp, u"cp:contentStatus", &P::getContentStatus, &P::setContentStatus});
    action(TimeProperty{dcterms, u"dcterms:created", &P::getCreated, &P::setCreated});
    action(TextProperty{dc, u"dc:creator", &P::getCreator, &P::setCreator});
    action(TextProperty{dc, u"dc:description", &P::getDescription, &P::setDescription});
    action(TextProperty{dc, u"dc:identifier", &P::getIdentifier, &P::setIdentifier});
    action(nullptr);
    action(TextProperty{dc, u"dc:language", &P::getLanguage, &P::setLanguage});
    action(TextProperty{cp, u"cp:lastModifiedBy", &P::getLastModifiedBy, &P::setLastModifiedBy});
    action(TimeProperty{cp, u"cp:lastPrinted", &P::getLastPrinted, &P::setLastPrinted});
    action(TimeProperty{dcterms, u"dcterms:modified", &P::getModified, &P::setModified});
    action(TextProperty{cp, u"cp:revision", &P::getRevision, &P::setRevision});
    action(TextProperty{dc, u"dc:subject", &P::getSubject, &P::setSubject});
    action(TextProperty{dc, u"dc:title", &P::getTitle, &P::setTitle});
    action(TextProperty{cp, u"cp:version", &P::getVersion, &P::setVersion});
}

/// The language of xs:language: up to eight letters, then groups of up to eight letters and digits behind hyphens.
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

class Reader {
public:
    Reader(const DOMElement* root, CoreProperties& properties) : root_(root), properties_(properties) {}

    void operator()(const TextProperty& property) {
        std::u16string text;
        if (XercesHelper::getElementText(firstChild(root_, property), text))
            (properties_.*property.set)(text);
    }

    /// A text that the schema takes and the time type cannot hold leaves the property absent.
    void operator()(const TimeProperty& property) {
        std::u16string text;
        if (!XercesHelper::getElementText(firstChild(root_, property), text))
            return;
        const auto time = convertStringToTime(text);
        if (!time.is_special())
            (properties_.*property.set)(time);
    }

    void operator()(std::nullptr_t) {
        const DOMElement* keywords = vocabulary::firstChild(root_, vocabulary::cp, u"keywords");
        if (keywords == nullptr)
            return;
        std::vector<CoreProperties::Keyword> values{readKeyword(keywords)};
        for (const DOMElement* value : vocabulary::children(keywords, vocabulary::cp, u"value"))
            values.push_back(readKeyword(value));
        properties_.setKeywords(values);
    }

private:
    static CoreProperties::Keyword readKeyword(const DOMElement* element) {
        CoreProperties::Keyword keyword;
        XercesHelper::getTrimmedElementText(element, keyword.first);
        XercesHelper::getElementAttributeNS(element, XercesString(vocabulary::xml), XercesString(u"lang"),
                                            keyword.second);
        return keyword;
    }

    const DOMElement* root_;
    CoreProperties& properties_;
};

class Writer {
public:
    Writer(DOMElement* root, const CoreProperties& properties) : root_(root), properties_(properties) {}

    void operator()(const TextProperty& property) {
        if (const auto value = (properties_.*property.get)())
            XercesHelper::setElementText(append(property.namespaceURI, property.qualifiedName), *value);
    }

    void operator()(const TimeProperty& property) {
        const auto value = (properties_.*property.get)();
        if (!value)
            return;
        if (value->is_special())
            throw InvalidPartContent("The time of " + detail::toUTF8String(property.qualifiedName) +
                                     " is no point in time");
        DOMElement* element = append(property.namespaceURI, property.qualifiedName);
        XercesHelper::setElementText(element, convertTimeToString(*value));
        if (property.namespaceURI == vocabulary::dcterms)
            XercesHelper::setElementAttributeNS(element, XercesString(vocabulary::xsi), XercesString(u"xsi:type"),
                                                vocabulary::w3cdtf);
    }

    void operator()(std::nullptr_t) {
        const auto keywords = properties_.getKeywords();
        if (!keywords || keywords->empty())
            return;
        DOMElement* element = append(vocabulary::cp, u"cp:keywords");
        writeKeyword(element, keywords->front());
        for (auto keyword = keywords->begin() + 1; keyword != keywords->end(); ++keyword)
            writeKeyword(
                XercesHelper::appendElementNS(element, XercesString(vocabulary::cp), XercesString(u"cp:value")),
                *keyword);
    }

private:
    DOMElement* append(const char16_t* namespaceURI, const char16_t* qualifiedName) {
        return XercesHelper::appendElementNS(root_, XercesString(namespaceURI), XercesString(qualifiedName));
    }

    static void writeKeyword(DOMElement* element, const CoreProperties::Keyword& keyword) {
        XercesHelper::setElementText(element, keyword.first);
        if (keyword.second.empty())
            return;
        if (!isLanguage(keyword.second))
            throw InvalidPartContent("The language of a keyword is no language tag: " +
                                     detail::toUTF8String(keyword.second, false));
        XercesHelper::setElementAttributeNS(element, XercesString(vocabulary::xml), XercesString(u"xml:lang"),
                                            keyword.second);
    }

    DOMElement* root_;
    const CoreProperties& properties_;
};

void declare(DOMElement* root, const char16_t* qualifiedName, const char16_t* namespaceURI) {
    XercesHelper::setElementAttributeNS(root, XercesString(vocabulary::xmlns), XercesString(qualifiedName),
                                        namespaceURI);
}

DocumentHandle makeDocument(const CoreProperties& properties) {
    DocumentHandle document = XercesHelper::createDocument();
    document->setXmlStandalone(true);
    DOMElement* root =
        XercesHelper::appendElementNS(document.get(), XercesString(vocabulary::cp), XercesString(u"cp:coreProperties"));
    declare(root, u"xmlns:dc", vocabulary::dc);
    declare(root, u"xmlns:dcmitype", vocabulary::dcmitype);
    declare(root, u"xmlns:dcterms", vocabulary::dcterms);
    declare(root, u"xmlns:xsi", vocabulary::xsi);
    forEachProperty(Writer(root, properties));
    return document;
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

} // namespace opc::model
