// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/ContentType.hpp>

#include <algorithm>
#include <optional>
#include <string_view>

namespace opc::model {

namespace {

constexpr std::u16string_view separators = u"()<>@,;:\\\"/[]?={} \t";

bool isPrintable(char16_t unit) noexcept {
    return unit >= 0x20 && unit <= 0x7E;
}

bool isSeparator(char16_t unit) noexcept {
    return separators.find(unit) != std::u16string_view::npos;
}

bool isTokenCharacter(char16_t unit) noexcept {
    return isPrintable(unit) && !isSeparator(unit);
}

/// Reads the grammar from left to right. It needs no backtracking: what may follow a rule never starts with what the
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

    std::u16string_view takeToken() noexcept { return takeWhile(isTokenCharacter); }

    /// A token or a quoted string; nothing when neither stands here.
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

void throwIf(bool broken) {
    if (broken)
        throw InvalidContentType("Could not successfully parse content type string");
}

} // namespace

bool ContentType::caselessCompareFcn::operator()(const std::u16string& a, const std::u16string& b) const noexcept {
    return caselessCompare(a, b) < 0;
}

ContentType::ContentType(const std::u16string& text) : text_(text) {
    init();
}

ContentType::ContentType(const char16_t* text) : text_(text == nullptr ? std::u16string() : std::u16string(text)) {
    init();
}

void ContentType::init() {
    Scanner scanner(text_);
    type_ = scanner.takeToken();
    throwIf(type_.empty() || !scanner.accept(u'/'));
    subType_ = scanner.takeToken();
    throwIf(subType_.empty());
    while (!scanner.atEnd()) {
        scanner.skipSpaces();
        throwIf(!scanner.accept(u';'));
        scanner.skipSpaces();
        const std::u16string attribute(scanner.takeToken());
        throwIf(attribute.empty() || !scanner.accept(u'='));
        const auto value = scanner.takeValue();
        throwIf(!value);
        parameters_[attribute] = *value;
    }
    resetStringFromParts();
}

void ContentType::resetStringFromParts() {
    std::u16string text = type_ + u'/' + subType_;
    for (const auto& [attribute, value] : parameters_) {
        text += u';' + attribute + u'=';
        const bool quoted = std::any_of(value.begin(), value.end(), isSeparator);
        text += quoted ? u'"' + value + u'"' : value;
    }
    text_ = std::move(text);
}

bool ContentType::hasParameter(const std::u16string& attribute) const {
    return parameters_.count(attribute) != 0;
}

std::u16string ContentType::getParameterValue(const std::u16string& attribute) const {
    const auto found = parameters_.find(attribute);
    if (found == parameters_.end())
        throw ContentTypeParameterNotFound("No parameter exists for the given attribute");
    return found->second;
}

void ContentType::addParameter(const std::u16string& attribute, const std::u16string& value) {
    if (attribute.empty() || !std::all_of(attribute.begin(), attribute.end(), isTokenCharacter))
        throw InvalidContentTypeParameter("Invalid parameter attribute name");
    if (value.empty() || !std::all_of(value.begin(), value.end(), isPrintable))
        throw InvalidContentTypeParameter("Invalid parameter attribute value");
    parameters_[attribute] = value;
    resetStringFromParts();
}

void ContentType::removeParameter(const std::u16string& attribute) {
    if (parameters_.erase(attribute) == 0)
        throw ContentTypeParameterNotFound("No parameter exists for the given attribute");
    resetStringFromParts();
}

bool ContentType::operator==(const ContentType& other) const noexcept {
    return caselessCompare(text_, other.text_) == 0;
}

bool ContentType::operator!=(const ContentType& other) const noexcept {
    return !(*this == other);
}

bool ContentType::operator<(const ContentType& other) const noexcept {
    return caselessCompare(text_, other.text_) < 0;
}

} // namespace opc::model
