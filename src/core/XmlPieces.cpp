// SPDX-License-Identifier: Apache-2.0
#include <opc/core/XmlPieces.hpp>

#include <opc/core/Exception.hpp>
#include <opc/core/PlainXml.hpp>
#include <opc/core/Strings.hpp>

#include "core/ExpatParser.hpp"

#include <algorithm>
#include <climits>
#include <exception>

namespace opc::detail {

namespace {

using Bytes = std::vector<unsigned char>;

/// Finds lines and columns of places that come one behind the other.
class LineCounter {
public:
    explicit LineCounter(std::string_view text) : text_(text) {}

    XmlPosition at(std::size_t offset) {
        for (; offset_ < std::min(offset, text_.size()); ++offset_)
            pass(static_cast<unsigned char>(text_[offset_]));
        return position_;
    }

private:
    void pass(unsigned char byte) {
        const bool isHalfBreak = byte == '\r' && text_.substr(offset_ + 1, 1) == "\n";
        if (byte == '\n' || (byte == '\r' && !isHalfBreak)) {
            ++position_.line;
            position_.column = 1;
        } else if ((byte & 0xC0) != 0x80) { // not within a character
            position_.column += byte >= 0xF0 ? 2 : 1;
        }
    }

    std::string_view text_;
    std::size_t offset_ = 0;
    XmlPosition position_{1, 1};
};

XmlTag makeTag(const XML_Char* name, const XML_Char** attributes) {
    XmlTag tag;
    tag.name = name;
    for (; *attributes != nullptr; attributes += 2)
        tag.attributes.emplace_back(attributes[0], attributes[1]);
    return tag;
}

bool isSupportedEncoding(std::string_view name) {
    return name == "UTF-8" || name == "utf-8" || name == "UTF-16" || name == "utf-16";
}

/// One pass of expat, which takes no exceptions: the first one ends it.
class PiecesPass {
public:
    PiecesPass(XmlPieces& pieces, const Limits& limits)
        : parser_(ownExpatParser(XML_ParserCreate("UTF-8"))), pieces_(pieces), limits_(limits),
          lines_(pieces.document) {
        XML_SetUserData(parser_.get(), this);
        XML_SetElementHandler(parser_.get(), startElement, endElement);
        XML_SetCharacterDataHandler(parser_.get(), text);
        XML_SetXmlDeclHandler(parser_.get(), declareXml);
        XML_SetStartDoctypeDeclHandler(
            parser_.get(), [](void* data, const XML_Char*, const XML_Char*, const XML_Char*,
                              int) { of(data).fail(XmlFault::DocumentType, "a document type declaration"); });
        XML_SetCommentHandler(
            parser_.get(), [](void* data, const XML_Char*) { of(data).count(1); });
        XML_SetProcessingInstructionHandler(parser_.get(),
                                            [](void* data, const XML_Char*, const XML_Char*) { of(data).count(1); });
        XML_SetStartCdataSectionHandler(parser_.get(), [](void* data) {
            of(data).count(1);
            of(data).markText();
        });
    }

    void run() {
        const std::string& text = pieces_.document;
        const XML_Status status = XML_Parse(parser_.get(), text.data(), static_cast<int>(text.size()), XML_TRUE);
        if (error_)
            std::rethrow_exception(error_);
        if (status == XML_STATUS_ERROR && XML_GetErrorCode(parser_.get()) == XML_ERROR_NO_MEMORY)
            throw std::bad_alloc();
        if (status == XML_STATUS_ERROR)
            fail(XmlFault::NotWellFormed, XML_ErrorString(XML_GetErrorCode(parser_.get())));
        pieces_.faultReason = faultReason_;
    }

private:
    static PiecesPass& of(void* data) { return *static_cast<PiecesPass*>(data); }

    std::size_t here() const { return static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get())); }
    std::size_t behind() const { return here() + static_cast<std::size_t>(XML_GetCurrentByteCount(parser_.get())); }

    void fail(XmlFault fault, const char* reason) noexcept {
        if (pieces_.fault != XmlFault::None)
            return;
        pieces_.fault = fault;
        pieces_.faultPlace = lines_.at(here());
        faultReason_ = reason;
        XML_StopParser(parser_.get(), XML_FALSE);
    }

    template <class Call>
    void take(Call call) noexcept {
        if (error_ || pieces_.fault != XmlFault::None)
            return;
        try {
            call();
        } catch (...) {
            error_ = std::current_exception();
            XML_StopParser(parser_.get(), XML_FALSE);
        }
    }

    void count(std::uint64_t nodes) {
        nodes_ += nodes;
        if (nodes_ > limits_.xmlNodes)
            fail(XmlFault::Limit, "too many nodes");
    }

    void markText() {
        if (depth_ == 1 && !pieces_.strayText)
            pieces_.strayText = lines_.at(here());
    }

    void start(const XML_Char* name, const XML_Char** attributes) {
        const std::uint64_t before = nodes_;
        std::uint64_t nodes = 1;
        for (const XML_Char** each = attributes; *each != nullptr; each += 2)
            ++nodes;
        count(nodes);
        if (++depth_ > limits_.xmlDepth)
            fail(XmlFault::Limit, "nested too deep");
        if (depth_ == 1) {
            pieces_.root = makeTag(name, attributes);
            pieces_.rootTagEnd = lines_.at(behind());
        } else if (depth_ == 2) {
            const XmlPosition begin = lines_.at(here());
            pieces_.children.push_back({here(), 0, begin, lines_.at(behind()), before});
        }
    }

    void end() {
        if (depth_-- != 2)
            return;
        XmlChild& child = pieces_.children.back();
        child.size = behind() - child.offset;
        child.nodes = nodes_ - child.nodes;
    }

    static void XMLCALL startElement(void* data, const XML_Char* name, const XML_Char** attributes) noexcept {
        of(data).take([&] { of(data).start(name, attributes); });
    }

    static void XMLCALL endElement(void* data, const XML_Char* /*name*/) noexcept {
        of(data).take([&] { of(data).end(); });
    }

    static void XMLCALL text(void* data, const XML_Char* text, int size) noexcept {
        if (!isXmlSpace(std::string_view(text, static_cast<std::size_t>(size))))
            of(data).markText();
    }

    static void XMLCALL declareXml(void* data, const XML_Char* /*version*/, const XML_Char* encoding,
                                   int /*standalone*/) noexcept {
        if (encoding != nullptr && !isSupportedEncoding(encoding))
            of(data).fail(XmlFault::Encoding, "the declared encoding is neither UTF-8 nor UTF-16");
    }

    ExpatParser parser_;
    XmlPieces& pieces_;
    const Limits& limits_;
    LineCounter lines_;
    std::uint64_t depth_ = 0;
    std::uint64_t nodes_ = 0;
    const char* faultReason_ = "";
    std::exception_ptr error_{};
};

/// The text of a document by its mark, or by its first character, which is a "<".
std::string decode(const Bytes& bytes) {
    const auto at = [&](std::size_t i) { return i < bytes.size() ? bytes[i] : 0; };
    const bool isBigEndian = (at(0) == 0xFE && at(1) == 0xFF) || (at(0) == 0 && at(1) == '<');
    const bool isLittleEndian = (at(0) == 0xFF && at(1) == 0xFE) || (at(0) == '<' && at(1) == 0 && bytes.size() > 1);
    const std::size_t mark = at(0) == 0xEF && at(1) == 0xBB && at(2) == 0xBF ? 3 : 0;
    if (!isBigEndian && !isLittleEndian)
        return {bytes.begin() + static_cast<std::ptrdiff_t>(mark), bytes.end()};
    std::u16string text;
    text.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        text += static_cast<char16_t>(isBigEndian ? bytes[i] << 8 | bytes[i + 1] : bytes[i + 1] << 8 | bytes[i]);
    text.erase(0, text.find(u'\xFEFF') == 0 ? 1 : 0);
    return toUTF8String(text);
}

std::string escaped(std::string_view value) {
    std::string text;
    for (const char each : value)
        switch (each) {
        case '&':
            text += "&amp;";
            break;
        case '<':
            text += "&lt;";
            break;
        case '"':
            text += "&quot;";
            break;
        case '\t':
        case '\n':
        case '\r':
            text += "&#" + std::to_string(static_cast<int>(each)) + ";";
            break;
        default:
            text += each;
        }
    return text;
}

void appendAttribute(std::string& tag, std::string_view name, std::string_view value) {
    tag.append(" ").append(name).append("=\"").append(escaped(value)).append("\"");
}

constexpr std::string_view DECLARATION = "xmlns";

bool isDeclaration(std::string_view name) {
    return name == DECLARATION || name.starts_with("xmlns:");
}

/// The prefix that an attribute declares.
std::string_view declaredPrefix(std::string_view name) {
    return name == DECLARATION ? std::string_view() : name.substr(DECLARATION.size() + 1);
}

} // namespace

const std::string* XmlTag::attribute(std::string_view attributeName) const noexcept {
    const auto found = std::find_if(attributes.begin(), attributes.end(),
                                    [&](const auto& each) { return each.first == attributeName; });
    return found == attributes.end() ? nullptr : &found->second;
}

std::string_view XmlTag::localName() const noexcept {
    return std::string_view(name).substr(name.find(':') + 1);
}

std::string_view XmlPieces::textOf(const XmlChild& child) const {
    return std::string_view(document).substr(child.offset, child.size);
}

std::string XmlPieces::rootAlone() const {
    std::string text = "<" + root.name;
    for (const auto& [name, value] : root.attributes)
        appendAttribute(text, name, value);
    return text + "/>";
}

std::string XmlPieces::rootAttributes() const {
    std::string text;
    for (const auto& [name, value] : root.attributes)
        if (name != DECLARATION)
            appendAttribute(text, name, value);
    return text;
}

std::string XmlPieces::rootWith(const XmlChild& child) const {
    std::string text = "<" + root.name;
    for (const auto& [name, value] : root.attributes)
        if (isDeclaration(name) && (name != DECLARATION || value != MARKUP_COMPATIBILITY_NAMESPACE))
            appendAttribute(text, name, value);
    text.append(">\n").append(textOf(child)).append("\n</").append(root.name).append(">");
    return text;
}

std::string XmlPieces::standAlone(const XmlChild& child, std::string_view defaultNamespace) const {
    const std::string_view text = textOf(child);
    const XmlTag tag = readXmlTag(text);
    std::string declarations;
    const std::string* inherited = root.attribute(DECLARATION);
    const std::string_view uri = inherited == nullptr ? std::string_view() : *inherited;
    if (tag.attribute(DECLARATION) == nullptr && uri != defaultNamespace)
        appendAttribute(declarations, DECLARATION, uri);
    for (const auto& [name, value] : root.attributes)
        if (isDeclaration(name) && name != DECLARATION && tag.attribute(name) == nullptr &&
            text.find(std::string(declaredPrefix(name)) + ":") != text.npos)
            appendAttribute(declarations, name, value);
    return std::string(text).insert(1 + tag.name.size(), declarations);
}

std::string XmlPieces::namespaceOf(std::string_view name, const XmlTag& tag, bool isAttribute) const {
    const std::size_t colon = name.find(':');
    if (colon == name.npos && isAttribute)
        return {};
    const std::string* uri = findNamespace(colon == name.npos ? std::string_view() : name.substr(0, colon), tag);
    return uri == nullptr ? std::string() : *uri;
}

const std::string* XmlPieces::findNamespace(std::string_view prefix, const XmlTag& tag) const {
    for (const XmlTag* each : {&tag, &root})
        for (const auto& [name, value] : each->attributes)
            if (isDeclaration(name) && declaredPrefix(name) == prefix)
                return &value;
    return nullptr;
}

XmlPieces splitXml(const Bytes& bytes, const Limits& limits) {
    XmlPieces pieces;
    try {
        pieces.document = decode(bytes);
    } catch (const Exception&) { // half of a surrogate pair
        pieces.fault = XmlFault::NotWellFormed;
        pieces.faultReason = "not UTF-16";
        return pieces;
    }
    if (bytes.size() > limits.xmlSize || pieces.document.size() > INT_MAX)
        pieces.fault = XmlFault::Limit;
    else
        PiecesPass(pieces, limits).run();
    if (pieces.fault != XmlFault::None)
        pieces.children.clear();
    return pieces;
}

XmlTag readXmlTag(std::string_view element) {
    XmlTag tag;
    const ExpatParser parser = ownExpatParser(XML_ParserCreate("UTF-8"));
    struct Context {
        XML_Parser parser;
        XmlTag& tag;
        std::exception_ptr error;
    } context{parser.get(), tag, {}};
    XML_SetUserData(parser.get(), &context);
    XML_SetStartElementHandler(parser.get(), [](void* data, const XML_Char* name, const XML_Char** attributes) {
        auto& to = *static_cast<Context*>(data);
        if (!to.tag.name.empty())
            return;
        try {
            to.tag = makeTag(name, attributes);
        } catch (...) {
            to.error = std::current_exception();
        }
        XML_StopParser(to.parser, XML_FALSE);
    });
    const auto size = static_cast<int>(std::min<std::size_t>(element.size(), INT_MAX));
    XML_Parse(parser.get(), element.data(), size, XML_TRUE);
    if (context.error)
        std::rethrow_exception(context.error);
    if (tag.name.empty() && XML_GetErrorCode(parser.get()) == XML_ERROR_NO_MEMORY)
        throw std::bad_alloc();
    return tag;
}

} // namespace opc::detail
