// SPDX-License-Identifier: Apache-2.0
#include "model/coreproperties/PlainCoreProperties.hpp"

#include <opc/core/PlainXml.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>

#include "model/coreproperties/CorePropertiesVocabulary.hpp"
#include "model/coreproperties/CorePropertyText.hpp"

#include <map>
#include <set>

namespace opc::model {

namespace {

namespace vocabulary = coreproperties;

/// As the pass over plain XML names elements and attributes.
std::string nameIn(const char16_t* namespaceURI, const char* localName) {
    return toASCIIString(namespaceURI) + ' ' + localName;
}

const CoreProperty* findProperty(std::string_view element) {
    static const auto all = [] {
        std::map<std::string, const CoreProperty*, std::less<>> byName;
        for (const CoreProperty& property : getAllCoreProperties())
            byName.emplace(nameIn(property.namespaceURI, property.name), &property);
        return byName;
    }();
    const auto found = all.find(element);
    return found == all.end() ? nullptr : found->second;
}

bool isRefinement(const CoreProperty& property) {
    return std::u16string_view(property.namespaceURI) == vocabulary::DCTERMS;
}

/// In the one form that nearly all programs write.
bool isPlainTime(const std::u16string& text) {
    constexpr std::size_t shortest = std::size("2026-01-31T10:00:00Z") - 1;
    return text.size() >= shortest && text.size() <= shortest + std::size(".000000") && text.back() == u'Z' &&
           !convertStringToTime(text).is_special();
}

class Handler final : public detail::PlainXmlHandler {
public:
    CoreProperties properties;

    /// The type of a time is written with a prefix, which always means the same here.
    bool declareNamespace(std::string_view prefix, std::string_view uri) override {
        const std::u16string wide = toString(uri);
        const bool isTerms = wide == vocabulary::DCTERMS;
        if (isTerms != (prefix == "dcterms"))
            return false;
        return isTerms || wide == vocabulary::CP || wide == vocabulary::DC || wide == vocabulary::DCMITYPE ||
               detail::isSchemaNamespace(uri);
    }

    bool startElement(const detail::PlainElement& element) override {
        switch (++depth_) {
        case 1:
            return element.name() == nameIn(vocabulary::CP, "coreProperties") && element.attributeCount() == 0;
        case 2:
            return startProperty(element);
        default:
            return false;
        }
    }

    bool endElement(std::uint64_t /*end*/) override {
        if (depth_-- != 2)
            return true;
        const std::u16string text = toString(text_);
        if (std::holds_alternative<CoreProperty::Time>(property_->access) && !isPlainTime(text))
            return false;
        setFromText(properties, *property_, text);
        return true;
    }

    bool text(std::string_view piece) override {
        if (depth_ == 1)
            return detail::isXmlSpace(piece);
        text_ += piece;
        return true;
    }

private:
    bool startProperty(const detail::PlainElement& element) {
        text_.clear();
        property_ = findProperty(element.name());
        if (property_ == nullptr || !seen_.insert(property_).second)
            return false;
        const char* type = element.attribute(nameIn(vocabulary::XSI, "type"));
        if (!isRefinement(*property_))
            return element.attributeCount() == 0;
        return element.attributeCount() == 1 && type != nullptr && std::string_view(type) == "dcterms:W3CDTF";
    }

    int depth_ = 0;
    const CoreProperty* property_ = nullptr;
    std::set<const CoreProperty*> seen_;
    std::string text_;
};

} // namespace

std::optional<CoreProperties> readPlainCoreProperties(const std::vector<unsigned char>& bytes, const Limits& limits) {
    Handler handler;
    if (!detail::readPlainXml(bytes, limits, handler))
        return std::nullopt;
    return std::move(handler.properties);
}

} // namespace opc::model
