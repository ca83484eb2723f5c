// SPDX-License-Identifier: Apache-2.0
#include <opc/core/PlainXmlWriter.hpp>

#include <opc/core/Characters.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <utility>

namespace opc::detail {

namespace {

/// Empty for what is written as it is.
constexpr std::string_view escapeOf(char character, bool isValue) noexcept {
    switch (character) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '>':
        return isValue ? "" : "&gt;";
    case '"':
        return isValue ? "&quot;" : "";
    case '\t':
        return isValue ? "&#x9;" : "";
    case '\n':
        return isValue ? "&#xA;" : "";
    case '\r':
        return "&#xD;";
    default:
        return "";
    }
}

bool isXmlText(std::u16string_view text) noexcept {
    for (std::size_t i = 0; i < text.size();)
        if (!isXMLUnit(text[i]) || decodeUTF16(text, i) == MALFORMED_SEQUENCE)
            return false;
    return true;
}

bool isSpaceAlone(std::u16string_view text) noexcept {
    return !text.empty() && text.find_first_not_of(u" \t\r\n") == std::u16string_view::npos;
}

} // namespace

XmlWriter::~XmlWriter() = default;

PlainXmlWriter::PlainXmlWriter(XmlLayout layout, bool isStandalone, const Limits& limits)
    : layout_(layout), limits_(limits) {
    append("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"");
    append(isStandalone ? "yes\" ?>" : "no\" ?>");
}

void PlainXmlWriter::start(std::string_view name) {
    closeStartTag();
    if (!open_.empty())
        open_.back().hasElements = true;
    breakLine();
    append("<");
    append(name);
    open_.push_back({std::string(name), false});
    isStartTagOpen_ = true;
    isPlain_ = isPlain_ && ++nodes_ <= limits_.xmlNodes && open_.size() <= limits_.xmlDepth;
}

void PlainXmlWriter::attribute(std::string_view name, std::u16string_view value) {
    append(" ");
    append(name);
    append("=\"");
    appendEscaped(value, true);
    append("\"");
    isPlain_ = isPlain_ && ++nodes_ <= limits_.xmlNodes;
}

void PlainXmlWriter::text(std::u16string_view text) {
    closeStartTag();
    // A tree's writer takes line breaks in such a text for those of the layout.
    if (layout_ == XmlLayout::Indented && isSpaceAlone(text))
        isPlain_ = false;
    appendEscaped(text, false);
}

void PlainXmlWriter::end() {
    const Element element = std::move(open_.back());
    open_.pop_back();
    if (std::exchange(isStartTagOpen_, false)) {
        append("/>");
        return;
    }
    if (element.hasElements)
        breakLine();
    append("</");
    append(element.name);
    append(">");
}

std::optional<std::vector<unsigned char>> PlainXmlWriter::take() {
    breakLine();
    if (!isPlain_ || bytes_.size() > limits_.xmlSize)
        return std::nullopt;
    return std::move(bytes_);
}

void PlainXmlWriter::closeStartTag() {
    if (std::exchange(isStartTagOpen_, false))
        append(">");
}

void PlainXmlWriter::breakLine() {
    if (layout_ != XmlLayout::Indented)
        return;
    append("\n");
    bytes_.insert(bytes_.end(), 2 * open_.size(), ' ');
}

void PlainXmlWriter::appendEscaped(std::u16string_view text, bool isValue) {
    isPlain_ = isPlain_ && isXmlText(text);
    if (!isPlain_)
        return;
    for (const char character : toUTF8String(text)) {
        const std::string_view escape = escapeOf(character, isValue);
        if (escape.empty())
            bytes_.push_back(static_cast<unsigned char>(character));
        else
            append(escape);
    }
}

} // namespace opc::detail
