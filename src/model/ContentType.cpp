// SPDX-License-Identifier: Apache-2.0
#include <opc/model/ContentType.hpp>

#include <opc/core/Characters.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include <boost/make_shared.hpp>

#include <algorithm>
#include <map>
#include <optional>
#include <ostream>
#include <string_view>
#include <utility>

namespace opc::model {

namespace {

constexpr bool isPrintable(char16_t unit) noexcept {
    return unit >= 0x20 && unit <= 0x7E;
}

/// Parses from left to right without backtracking: what may follow a rule never starts with what the
/// rule itself repeats.
class Scanner {
public:
    explicit Scanner(std::u16string_view text) : rest_(text) {}

    bool atEnd() const noexcept { return rest_.empty(); }

    bool accept(char16_t unit) noexcept {
        if (rest_.empty() || rest_.front() != unit)
            return false;
        rest_.remove_prefix(1);
        return true;
    }

    void skipSpaces() noexcept {
        while (accept(u' ')) {
        }
    }

    std::u16string_view takeToken() noexcept { return takeWhile(detail::isTokenCharacter); }

    /// A token or a quoted string; nothing when there is neither.
    std::optional<std::u16string_view> takeValue() noexcept {
        const std::u16string_view token = takeToken();
        if (!token.empty())
            return token;
        if (!accept(u'"'))
            return std::nullopt;
        const std::u16string_view text = takeWhile([](char16_t unit) { return isPrintable(unit) && unit != u'"'; });
        if (text.empty() || !accept(u'"'))
            return std::nullopt;
        return text;
    }

private:
    template <class Condition>
    std::u16string_view takeWhile(Condition condition) noexcept {
        const auto end = std::find_if_not(rest_.begin(), rest_.end(), condition);
        const std::u16string_view taken = rest_.substr(0, static_cast<std::size_t>(end - rest_.begin()));
        rest_.remove_prefix(taken.size());
        return taken;
    }

    std::u16string_view rest_;
};

void requireGrammar(bool isKept) {
    if (!isKept)
        throw InvalidContentType("Could not successfully parse content type string");
}

} // namespace

bool ContentType::caselessCompareFcn::operator()(const std::u16string& a, const std::u16string& b) const noexcept {
    return caselessCompare(a, b) < 0;
}

struct ContentType::Value {
    std::u16string text;
    std::u16string type;
    std::u16string subType;
    std::map<std::u16string, std::u16string, caselessCompareFcn> parameters;
};

ContentType::ContentType(const std::u16string& text) {
    init(text);
}

ContentType::ContentType(const char16_t* text) {
    init(text == nullptr ? std::u16string() : std::u16string(text));
}

ContentType::ContentType(const std::string& utf8) {
    init(fromUTF8(utf8));
}

ContentType::ContentType(const char* utf8) {
    init(utf8 == nullptr ? std::u16string() : fromUTF8(utf8));
}

void ContentType::init(const std::u16string& text) {
    Scanner scanner(text);
    Value value;
    value.type = scanner.takeToken();
    requireGrammar(!value.type.empty() && scanner.accept(u'/'));
    value.subType = scanner.takeToken();
    requireGrammar(!value.subType.empty());
    while (!scanner.atEnd()) {
        scanner.skipSpaces();
        requireGrammar(scanner.accept(u';'));
        scanner.skipSpaces();
        const std::u16string attribute(scanner.takeToken());
        requireGrammar(!attribute.empty() && scanner.accept(u'='));
        const auto parameter = scanner.takeValue();
        requireGrammar(parameter.has_value());
        value.parameters[attribute] = *parameter;
    }
    setValue(std::move(value));
}

void ContentType::setValue(Value value) {
    std::u16string text = value.type + u'/' + value.subType;
    for (const auto& [attribute, parameter] : value.parameters) {
        text += u';' + attribute + u'=';
        const bool quoted = std::any_of(parameter.begin(), parameter.end(), detail::isSeparator);
        text += quoted ? u'"' + parameter + u'"' : parameter;
    }
    value.text = std::move(text);
    value_ = boost::make_shared<const Value>(std::move(value));
}

std::u16string ContentType::getType() const {
    return value_->type;
}

std::u16string ContentType::getSubType() const {
    return value_->subType;
}

std::u16string ContentType::toString() const {
    return value_->text;
}

std::string ContentType::toUTF8() const {
    return opc::toUTF8(value_->text);
}

std::size_t ContentType::hash() const noexcept {
    return detail::hashFolded(value_->text);
}

std::ostream& operator<<(std::ostream& stream, const ContentType& contentType) {
    return stream << contentType.toUTF8();
}

bool ContentType::hasParameter(const std::u16string& attribute) const {
    return value_->parameters.count(attribute) != 0;
}

std::u16string ContentType::getParameterValue(const std::u16string& attribute) const {
    const auto found = value_->parameters.find(attribute);
    if (found == value_->parameters.end())
        throw ContentTypeParameterNotFound("No parameter exists for the given attribute");
    return found->second;
}

void ContentType::addParameter(const std::u16string& attribute, const std::u16string& value) {
    if (attribute.empty() || !std::all_of(attribute.begin(), attribute.end(), detail::isTokenCharacter))
        throw InvalidContentTypeParameter("Invalid parameter attribute name");
    if (value.empty() || !std::all_of(value.begin(), value.end(), isPrintable))
        throw InvalidContentTypeParameter("Invalid parameter attribute value");
    Value changed = *value_;
    changed.parameters[attribute] = value;
    setValue(std::move(changed));
}

void ContentType::removeParameter(const std::u16string& attribute) {
    Value changed = *value_;
    if (changed.parameters.erase(attribute) == 0)
        throw ContentTypeParameterNotFound("No parameter exists for the given attribute");
    setValue(std::move(changed));
}

bool ContentType::operator==(const ContentType& other) const noexcept {
    return caselessCompare(value_->text, other.value_->text) == 0;
}

bool ContentType::operator!=(const ContentType& other) const noexcept {
    return !(*this == other);
}

bool ContentType::operator<(const ContentType& other) const noexcept {
    return caselessCompare(value_->text, other.value_->text) < 0;
}

} // namespace opc::model
