// SPDX-License-Identifier: Apache-2.0
#include <opc/compare/PrettyXml.hpp>

#include <opc/core/PlainXml.hpp>
#include <opc/errors/Errors.hpp>

#include "compare/XmlReading.hpp"

#include <algorithm>
#include <memory>
#include <vector>

namespace opc::compare {

namespace {

constexpr std::size_t LONGEST_TAG = 100;
constexpr std::size_t INDENT = 2;
constexpr std::size_t DEEPEST_INDENT = 64; // beyond which lines are indented no further

using detail::XmlEventElement;

void appendEscaped(std::string& out, std::string_view text, bool isValue) {
    for (const char each : text)
        if (each == '&')
            out += "&amp;";
        else if (each == '<')
            out += "&lt;";
        else if (each == '>' && !isValue)
            out += "&gt;";
        else if (each == '"' && isValue)
            out += "&quot;";
        else if (each == '\r' || (isValue && (each == '\n' || each == '\t')))
            out += "&#" + std::to_string(static_cast<int>(each)) + ";";
        else
            out += each;
}

std::string_view trimmed(std::string_view text) {
    constexpr const char* blanks = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == text.npos ? std::string_view() : text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

class PrettyPrinter final : public detail::XmlEventHandler {
public:
    PrettyPrinter(const std::function<void(std::string_view)>& write, const PrettyOptions& options)
        : write_(write), options_(options) {}

    void startElement(const XmlEventElement& element) override {
        breakBefore();
        names_.push_back(qualifiedName(element.name));
        openTag_ = tagOf(element);
        isOpen_ = true;
    }

    void endElement() override {
        const std::string name = std::move(names_.back());
        names_.pop_back();
        if (isOpen_) {
            writeLeaf(name);
        } else {
            flushText(names_.size() + 1);
            writeLine(names_.size(), "</" + name + ">");
        }
        isOpen_ = false;
    }

    void text(std::string_view piece) override { text_ += piece; }

    void comment(std::string_view text) override {
        if (!options_.comments)
            return;
        breakBefore();
        writeLine(names_.size(), "<!--" + std::string(text) + "-->");
    }

    void instruction(std::string_view target, std::string_view data) override {
        breakBefore();
        writeLine(names_.size(), "<?" + std::string(target) + (data.empty() ? "" : " ") + std::string(data) + "?>");
    }

private:
    /// The start tag without its end; of a long one, with line breaks.
    std::string tagOf(const XmlEventElement& element) const {
        XmlEventElement sorted = element;
        sortAttributes(sorted);
        std::vector<std::string> attributes;
        for (const auto& [prefix, uri] : sorted.declarations)
            attributes.push_back(attributeText(prefix.empty() ? "xmlns" : "xmlns:" + std::string(prefix), uri));
        for (const auto& [name, value] : sorted.attributes) {
            const std::string shown =
                options_.attribute ? options_.attribute(name.uri, name.local, value) : std::string();
            attributes.push_back(attributeText(qualifiedName(name), shown.empty() ? value : shown));
        }
        std::size_t size = names_.back().size();
        for (const std::string& each : attributes)
            size += each.size() + 1;
        const bool breaks = attributes.size() > 1 && size > LONGEST_TAG;
        const std::string gap = breaks ? '\n' + indentOf(names_.size() + 1) : " ";
        std::string tag = "<" + names_.back();
        for (const std::string& each : attributes)
            tag += gap + each;
        return tag;
    }

    static std::string attributeText(const std::string& name, std::string_view value) {
        std::string text = name + "=\"";
        appendEscaped(text, value, true);
        return text + '"';
    }

    static std::string indentOf(std::size_t depth) {
        return std::string(std::min(INDENT * depth, DEEPEST_INDENT), ' ');
    }

    /// Writes what comes before a child of the innermost element.
    void breakBefore() {
        if (isOpen_)
            writeLine(names_.size() - 1, openTag_ + ">");
        isOpen_ = false;
        flushText(names_.size());
    }

    void writeLeaf(const std::string& name) {
        std::string line = std::move(openTag_);
        if (text_.empty()) {
            line += "/>";
        } else {
            line += ">";
            appendEscaped(line, text_, false);
            line += "</" + name + ">";
        }
        text_.clear();
        writeLine(names_.size(), line);
    }

    void flushText(std::size_t depth) {
        std::string line;
        appendEscaped(line, trimmed(text_), false);
        text_.clear();
        if (!line.empty())
            writeLine(depth, line);
    }

    /// Each line of the text; the first one is indented.
    void writeLine(std::size_t depth, const std::string& text) {
        const std::string whole = indentOf(depth) + text;
        for (std::size_t begin = 0; begin <= whole.size();) {
            const std::size_t end = std::min(whole.find('\n', begin), whole.size());
            write_(std::string_view(whole).substr(begin, end - begin));
            begin = end + 1;
        }
    }

    const std::function<void(std::string_view)>& write_;
    const PrettyOptions& options_;
    std::vector<std::string> names_; ///< of the elements that did not end yet
    std::string openTag_;
    bool isOpen_ = false; ///< whether the start tag of the innermost element is not written yet
    std::string text_;    ///< since the last tag
};

} // namespace

void printPretty(InputStream& xml, const std::function<void(std::string_view line)>& write,
                 const PrettyOptions& options) {
    PrettyPrinter printer(write, options);
    const detail::XmlEventFault fault = readXml(xml, options.limits, printer);
    if (fault.fault == detail::XmlFault::None)
        return;
    model::InvalidXMLDocument error("XML that cannot be read: " + faultText(fault));
    auto place = std::make_shared<ErrorPlace>();
    place->line = fault.place.line;
    place->column = fault.place.column;
    place->reason = fault.reason;
    error.setPlace(std::move(place));
    throw error;
}

} // namespace opc::compare
