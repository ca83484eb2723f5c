// SPDX-License-Identifier: Apache-2.0
#include "model/coreproperties/CorePropertiesSerializer.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/ByteArrayOutAdaptor.hpp>
#include <opc/core/Characters.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include "model/coreproperties/CorePropertiesPieces.hpp"
#include "model/coreproperties/CorePropertiesVocabulary.hpp"
#include "model/coreproperties/PlainCoreProperties.hpp"
#include "model/coreproperties/ValidatingCorePropertiesReader.hpp"
#include "xml/XercesErrors.hpp"
#include "xml/XmlCharacters.hpp"
#include "xml/XmlWriting.hpp"

#include <xercesc/util/XMLString.hpp>

namespace opc::model {

namespace {

namespace vocabulary = coreproperties;

/// The name of an element with its prefix: "dc:title".
std::string qualifiedName(const CoreProperty& property) {
    const std::u16string_view uri = property.namespaceURI;
    const std::string prefix = uri == vocabulary::CP ? "cp:" : uri == vocabulary::DC ? "dc:" : "dcterms:";
    return prefix + property.name;
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

/// Writes the properties in their order.
class Writer {
public:
    Writer(detail::XmlWriter& xml, const CoreProperties& properties) : xml_(xml), properties_(properties) {}

    void operator()(const CoreProperty& property, const CoreProperty::Text& access) {
        if (const auto value = (properties_.*access.get)())
            write(property, *value);
    }

    void operator()(const CoreProperty& property, const CoreProperty::Time& access) {
        const auto value = (properties_.*access.get)();
        if (!value)
            return;
        if (value->is_special())
            throw InvalidPartContent("The time of " + qualifiedName(property) + " is not a point in time");
        write(property, convertTimeToString(*value));
    }

    void operator()(const CoreProperty& property, const CoreProperty::Keywords& access) {
        const auto keywords = (properties_.*access.get)();
        if (!keywords || keywords->empty())
            return;
        xml_.start(qualifiedName(property));
        writeKeyword(keywords->front());
        for (auto keyword = keywords->begin() + 1; keyword != keywords->end(); ++keyword) {
            xml_.start("cp:value");
            writeKeyword(*keyword);
            xml_.end();
        }
        xml_.end();
    }

private:
    void write(const CoreProperty& property, const std::u16string& text) {
        xml_.start(qualifiedName(property));
        if (std::u16string_view(property.namespaceURI) == vocabulary::DCTERMS)
            xml_.attribute("xsi:type", vocabulary::W3CDTF);
        xml_.text(text);
        xml_.end();
    }

    void writeKeyword(const CoreProperties::Keyword& keyword) {
        throwIfNotXmlText(keyword.first); // before its language
        if (!keyword.second.empty()) {
            if (!isLanguage(keyword.second))
                throw InvalidPartContent("The language of a keyword is not a language tag: " +
                                         detail::toUTF8String(keyword.second, false));
            xml_.attribute("xml:lang", keyword.second);
        }
        xml_.text(keyword.first);
    }

    detail::XmlWriter& xml_;
    const CoreProperties& properties_;
};

void writeDocument(detail::XmlWriter& xml, const CoreProperties& properties) {
    xml.start("cp:coreProperties");
    xml.attribute("xmlns:cp", vocabulary::CP);
    xml.attribute("xmlns:dc", vocabulary::DC);
    xml.attribute("xmlns:dcmitype", vocabulary::DCMITYPE);
    xml.attribute("xmlns:dcterms", vocabulary::DCTERMS);
    xml.attribute("xmlns:xsi", vocabulary::XSI);
    Writer writer(xml, properties);
    for (const CoreProperty& property : getAllCoreProperties())
        std::visit([&](const auto& access) { writer(property, access); }, property.access);
    xml.end();
}

xercesc::DOMElement* find(const xercesc::DOMElement* root, const CoreProperty& property) {
    return vocabulary::firstChild(root, property.namespaceURI, toString(std::string_view(property.name)));
}

/// Removes all elements of a property but the first.
/// @return whether there were any.
bool removeOthers(xercesc::DOMElement* root, const CoreProperty& property) {
    auto all = vocabulary::children(root, property.namespaceURI, toString(std::string_view(property.name)));
    for (std::size_t i = 1; i < all.size(); ++i)
        root->removeChild(all[i]);
    return all.size() > 1;
}

/// Puts an element in the place of another one of another document, either null for none.
/// @return false when they are equal.
bool replaceElement(xercesc::DOMElement* root, xercesc::DOMElement* present, const xercesc::DOMElement* wanted) {
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

/// A part that can be changed. Its parser does not validate, which would change white space.
class Tree {
public:
    Tree(const std::vector<unsigned char>& part, const Limits& limits) : parser_(XercesHelper::createParser(limits)) {
        ByteArrayInAdaptor stream(part);
        document_ = XercesHelper::readDocumentFromStream(*parser_, stream, false, u"", u"");
    }

    xercesc::DOMDocument* document() const { return document_; }
    xercesc::DOMElement* root() const { return document_->getDocumentElement(); }

private:
    XercesGuard guard_;
    ParserHandle parser_;
    xercesc::DOMDocument* document_ = nullptr;
};

bool isSameName(const xercesc::DOMElement& a, const xercesc::DOMElement& b) {
    return xercesc::XMLString::equals(a.getLocalName(), b.getLocalName()) &&
           xercesc::XMLString::equals(a.getNamespaceURI(), b.getNamespaceURI());
}

} // namespace

void CorePropertiesSerializer::load(const std::vector<unsigned char>& bytes, CoreProperties& properties) {
    if (const auto plain = readPlainCoreProperties(bytes, limits_))
        properties = *plain;
    else
        ValidatingCorePropertiesReader(limits_).read(bytes, properties);
}

void CorePropertiesSerializer::load(const std::vector<unsigned char>& bytes, CoreProperties& properties,
                                    const Reading& reading, const std::string& item) {
    reading.attempt([&] { load(bytes, properties); },
                    [&](const Exception& refused) {
                        properties.clear();
                        CorePropertiesPieces pieces(limits_, properties);
                        PiecesReading part(reading, limits_, CorePropertiesPieces::VOCABULARY, item);
                        if (!part.read(bytes, refused, pieces))
                            properties.clear();
                    });
}

std::vector<unsigned char> CorePropertiesSerializer::save(const CoreProperties& properties) {
    return save(properties, detail::XmlLayout::Indented);
}

std::vector<unsigned char> CorePropertiesSerializer::save(const CoreProperties& properties, detail::XmlLayout layout) {
    try {
        return writeXml(
            layout, true, limits_, [&](detail::XmlWriter& xml) { writeDocument(xml, properties); });
    } catch (const InvalidXMLDocument& e) {
        throw InvalidPartContent(e.what());
    }
}

std::optional<std::vector<unsigned char>> CorePropertiesSerializer::update(const std::vector<unsigned char>& part,
                                                                           const CoreProperties& properties,
                                                                           const std::set<const CoreProperty*>& changed,
                                                                           const Reading& reading,
                                                                           const std::string& item) {
    CoreProperties ignored;
    load(part, ignored, reading, item);
    try {
        const Tree tree(part, limits_);
        const Tree values(save(properties, detail::XmlLayout::Compact), limits_);
        if (!isSameName(*tree.root(), *values.root()))
            throw InvalidPartContent("The root element is not coreProperties");
        bool isChanged = false;
        for (const CoreProperty* property : changed)
            isChanged |= translatingXercesErrors([&] {
                const bool hadOthers = removeOthers(tree.root(), *property);
                return replaceElement(tree.root(), find(tree.root(), *property), find(values.root(), *property)) ||
                       hadOthers;
            });
        if (!isChanged)
            return std::nullopt;
        std::vector<unsigned char> bytes;
        ByteArrayOutAdaptor stream(bytes);
        XercesHelper::writeDocumentToStream(*XercesHelper::createWriter(), tree.document(), stream, limits_);
        return bytes;
    } catch (const InvalidXMLDocument& e) {
        throw InvalidPartContent(e.what());
    }
}

} // namespace opc::model
