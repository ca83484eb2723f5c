// SPDX-License-Identifier: Apache-2.0
#include "opcraft/PropertyEdits.hpp"

#include "opcraft/Failure.hpp"
#include "opcraft/Names.hpp"

#include <opc/core/Characters.hpp>
#include <opc/core/Time.hpp>

#include <algorithm>
#include <cstdio>

namespace opcraft {

namespace {

using opc::model::CoreProperties;

constexpr const char* keywordsName = "keywords";

const Property& toProperty(const std::string& name, const std::string& argument) {
    if (const Property* property = findProperty(name))
        return *property;
    std::string names;
    for (const Property& property : allProperties)
        names += (names.empty() ? "" : ", ") + std::string(property.name);
    throw wrongArgument(argument, "there is no property \"" + name + "\", but " + names);
}

std::u16string toText(const std::string& value, const std::string& argument) {
    std::u16string text = toUtf16(value);
    const auto found = std::find_if_not(text.begin(), text.end(), opc::detail::isXMLUnit);
    if (found == text.end())
        return text;
    char code[8];
    std::snprintf(code, sizeof code, "U+%04X", static_cast<unsigned>(*found));
    throw wrongArgument(argument, std::string("the character ") + code + " cannot stand in XML");
}

boost::posix_time::ptime toTime(const std::string& value, const std::string& argument) {
    const auto time = opc::convertStringToTime(toUtf16(value));
    if (time.is_special())
        throw wrongArgument(argument, "this is no date of the years 1400 to 9999; one looks like 2026-01-31T10:00:00Z");
    return time;
}

bool isSubtag(std::u16string_view text, std::size_t shortest, std::size_t longest, bool lettersOnly) {
    const auto isAllowed = [&](char16_t c) {
        return opc::detail::isLetter(c) || (!lettersOnly && opc::detail::isDigit(c));
    };
    return text.size() >= shortest && text.size() <= longest && std::all_of(text.begin(), text.end(), isAllowed);
}

/// The shape of RFC 5646 §2.1: subtags of one to eight letters and digits behind a language of two or three letters
/// (longer ones are allowed there, and there are none), or behind an "x" or "i".
bool isLanguageTag(std::u16string_view text) {
    const std::size_t end = std::min(text.find(u'-'), text.size());
    const std::u16string_view first = text.substr(0, end);
    const bool isSpecial = end != text.size() && (first == u"x" || first == u"X" || first == u"i" || first == u"I");
    if (!isSpecial && !isSubtag(first, 2, 3, true))
        return false;
    for (std::u16string_view rest = text.substr(end); !rest.empty();) {
        rest.remove_prefix(1);
        const std::size_t length = std::min(rest.find(u'-'), rest.size());
        if (!isSubtag(rest.substr(0, length), 1, 8, false))
            return false;
        rest.remove_prefix(length);
    }
    return true;
}

CoreProperties::Keyword splitKeyword(const std::u16string& text) {
    const std::size_t at = text.rfind(u'@');
    if (at == text.npos)
        return {text, u""};
    const std::u16string language = text.substr(at + 1);
    if (!language.empty() && !isLanguageTag(language))
        return {text, u""};
    return {text.substr(0, at), language};
}

struct Setter {
    const std::string& value;
    const std::string& argument;
    CoreProperties& properties;

    void operator()(const TextAccess& access) const { (properties.*access.set)(toText(value, argument)); }
    void operator()(const TimeAccess& access) const { (properties.*access.set)(toTime(value, argument)); }
    void operator()(const KeywordsAccess& access) const { (properties.*access.set)({{toText(value, argument), u""}}); }
};

} // namespace

void PropertyEdits::claim(const Property& property, const std::string& argument) {
    if (!named_.insert(&property).second)
        throw wrongArgument(argument, std::string("the property \"") + property.name + "\" is named twice");
}

void PropertyEdits::set(const std::string& assignment) {
    const std::size_t equals = assignment.find('=');
    if (equals == std::string::npos)
        throw wrongArgument(assignment, "a property is set with NAME=VALUE");
    const Property& property = toProperty(assignment.substr(0, equals), assignment);
    claim(property, assignment);
    const std::string value = assignment.substr(equals + 1);
    std::visit(Setter{value, assignment, values_}, property.access);
}

void PropertyEdits::unset(const std::string& name) {
    claim(toProperty(name, name), name);
}

void PropertyEdits::setKeywords(const std::vector<std::string>& arguments) {
    std::vector<CoreProperties::Keyword> keywords;
    for (const std::string& argument : arguments)
        keywords.push_back(splitKeyword(toText(argument, argument)));
    claim(*findProperty(keywordsName), arguments.front());
    values_.setKeywords(keywords);
}

CoreProperties PropertyEdits::applyTo(const CoreProperties& properties) const {
    CoreProperties result;
    for (const Property& property : allProperties)
        copyProperty(property, names(property) ? values_ : properties, result);
    return result;
}

std::u16string toArgument(const CoreProperties::Keyword& keyword) {
    const auto& [text, language] = keyword;
    return splitKeyword(text) == keyword ? text : text + u'@' + language;
}

} // namespace opcraft
