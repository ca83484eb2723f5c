// SPDX-License-Identifier: Apache-2.0
#include "lint/RepairDocument.hpp"

#include <opc/core/PlainXml.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <optional>
#include <utility>

namespace opc::lint {

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::string_view MARK = "\xEF\xBB\xBF";

/// Where an attribute is in the text of an element.
struct AttributePlace {
    std::size_t begin; ///< with the white space in front
    std::size_t value;
    std::size_t end; ///< of the value, before its quotation mark
};

std::size_t endOfName(std::string_view tag) {
    return tag.find_first_of(" \t\r\n/>");
}

/// Calls an action with the name and the place of each attribute, until it returns false.
/// @param tag a well-formed text that begins with a start tag.
/// @return where the last one ends, with its quotation mark.
template <class Action>
std::size_t forEachAttribute(std::string_view tag, Action action) {
    for (std::size_t begin = endOfName(tag);;) {
        const std::size_t start = tag.find_first_not_of(BLANKS, begin);
        const std::size_t equals = tag.find_first_of("=>/", start);
        if (equals >= tag.size() || tag[equals] != '=')
            return begin;
        const std::size_t quote = tag.find_first_of("\"'", equals);
        const std::size_t end = tag.find(tag[quote], quote + 1);
        const std::string_view found = tag.substr(start, equals - start);
        if (!action(found.substr(0, found.find_first_of(BLANKS)), AttributePlace{begin, quote + 1, end}))
            return end + 1;
        begin = end + 1;
    }
}

std::optional<AttributePlace> findAttribute(std::string_view tag, std::string_view name) {
    std::optional<AttributePlace> place;
    forEachAttribute(tag, [&](std::string_view found, const AttributePlace& at) {
        if (found == name)
            place = at;
        return !place;
    });
    return place;
}

bool isLittleEndian(const Bytes& bytes) {
    return bytes.size() > 1 && ((bytes[0] == 0xFF && bytes[1] == 0xFE) || bytes[1] == 0);
}

bool isUTF16(const Bytes& bytes) {
    return bytes.size() > 1 && (isLittleEndian(bytes) || bytes[0] == 0 || (bytes[0] == 0xFE && bytes[1] == 0xFF));
}

Bytes toUTF16(const std::string& text, const Bytes& original) {
    const bool isMarked = original[0] >= 0xFE;
    Bytes bytes;
    for (const char16_t unit : (isMarked ? u"\xFEFF" : u"") + toString(text)) {
        const auto high = static_cast<unsigned char>(unit >> 8), low = static_cast<unsigned char>(unit & 0xFF);
        bytes.push_back(isLittleEndian(original) ? low : high);
        bytes.push_back(isLittleEndian(original) ? high : low);
    }
    return bytes;
}

/// Like the document that it replaces.
Bytes encoded(const std::string& text, const Bytes& original) {
    if (isUTF16(original))
        return toUTF16(text, original);
    const bool isMarked =
        std::string_view(reinterpret_cast<const char*>(original.data()), original.size()).substr(0, MARK.size()) ==
        MARK;
    Bytes bytes(isMarked ? MARK.begin() : MARK.end(), MARK.end());
    bytes.insert(bytes.end(), text.begin(), text.end());
    return bytes;
}

} // namespace

std::string escapedValue(std::string_view text) {
    std::string value;
    for (const char c : text)
        switch (c) {
        case '&':
            value += "&amp;";
            break;
        case '<':
            value += "&lt;";
            break;
        case '"':
            value += "&quot;";
            break;
        case '\'':
            value += "&apos;";
            break;
        case '\t':
        case '\n':
        case '\r':
            value += "&#" + std::to_string(static_cast<int>(c)) + ';';
            break;
        default:
            value += c;
        }
    return value;
}

RepairDocument::RepairDocument(Bytes bytes, const Limits& limits)
    : original_(std::move(bytes)), pieces_(detail::splitXml(original_, limits)) {
    const std::string& text = pieces_.document;
    if (!pieces_.children.empty()) {
        end_ = pieces_.children.back().offset + pieces_.children.back().size;
        return;
    }
    const std::size_t close = text.rfind("</" + pieces_.root.name);
    isRootOneTag_ = close == text.npos;
    end_ = isRootOneTag_ ? text.rfind("/>") : close;
    // What looks like a tag in a comment behind the root is none.
    if (end_ != text.npos && text.find("-->", end_) != text.npos)
        end_ = text.npos;
}

bool RepairDocument::hasRoot(std::string_view namespaceURI, std::string_view localName) const {
    return pieces_.fault == detail::XmlFault::None && pieces_.root.localName() == localName &&
           pieces_.namespaceOf(pieces_.root.name, pieces_.root, false) == namespaceURI;
}

bool RepairDocument::isChild(const detail::XmlTag& tag, std::string_view localName) const {
    return tag.localName() == localName &&
           pieces_.namespaceOf(tag.name, tag, false) == pieces_.namespaceOf(pieces_.root.name, pieces_.root, false);
}

std::string RepairDocument::contentOf(const detail::XmlChild& child) const {
    const std::string_view text = pieces_.textOf(child);
    const std::size_t end = forEachAttribute(text, [](std::string_view, const AttributePlace&) { return true; });
    const std::size_t close = text.find_first_of("/>", end);
    if (text[close] == '/')
        return {};
    return std::string(text.substr(close + 1, text.rfind("</") - close - 1));
}

void RepairDocument::replace(std::size_t offset, std::size_t size, std::string text) {
    Edit& edit = edits_[offset];
    if (size == 0 && edit.size == 0)
        text = edit.text + text; // several attributes that were not there
    edit = {size, std::move(text)};
}

void RepairDocument::setAttribute(const detail::XmlChild& child, std::string_view name, std::string_view value) {
    const std::string_view text = pieces_.textOf(child);
    if (const auto place = findAttribute(text, name))
        replace(child.offset + place->value, place->end - place->value, escapedValue(value));
    else
        replace(child.offset + endOfName(text), 0, ' ' + std::string(name) + "=\"" + escapedValue(value) + '"');
}

void RepairDocument::removeAttribute(const detail::XmlChild& child, std::string_view name) {
    if (const auto place = findAttribute(pieces_.textOf(child), name))
        replace(child.offset + place->begin, place->end + 1 - place->begin, {});
}

void RepairDocument::remove(const detail::XmlChild& child) {
    edits_[child.offset] = {child.size, {}};
}

void RepairDocument::append(std::string_view localName,
                            const std::vector<std::pair<std::string, std::string>>& attributes) {
    const std::string& root = pieces_.root.name;
    const std::size_t colon = root.find(':');
    appended_ += '<' + (colon == root.npos ? std::string() : root.substr(0, colon + 1)) + std::string(localName);
    for (const auto& [name, value] : attributes)
        appended_ += ' ' + name + "=\"" + escapedValue(value) + '"';
    appended_ += "/>";
}

std::string RepairDocument::toText() const {
    std::string text;
    std::size_t done = 0;
    const auto copyTo = [&](std::size_t offset) {
        text.append(pieces_.document, done, offset - done);
        done = offset;
    };
    for (const auto& [offset, edit] : edits_) {
        if (offset < done)
            continue; // in what is removed
        copyTo(offset);
        text += edit.text;
        done += edit.size;
    }
    if (appended_.empty())
        return text.append(pieces_.document, done);
    copyTo(std::max(done, end_));
    text += isRootOneTag_ ? '>' + appended_ + "</" + pieces_.root.name : appended_;
    return text.append(pieces_.document, isRootOneTag_ ? done + 1 : done);
}

Bytes RepairDocument::toBytes() const {
    return encoded(toText(), original_);
}

} // namespace opc::lint
