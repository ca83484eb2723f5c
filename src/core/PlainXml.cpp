// SPDX-License-Identifier: Apache-2.0
#include <opc/core/PlainXml.hpp>

#include "core/ExpatParser.hpp"

#include <algorithm>
#include <climits>
#include <cstring>
#include <exception>
#include <new>

namespace opc::detail {

namespace {

/// Between the namespace and the local name; no URI has it.
constexpr XML_Char SEPARATOR = ' ';

/// A validating parser bounds the names of a document; so few stay below.
constexpr int MAX_DECLARATIONS = 32;
constexpr std::size_t MAX_PREFIX = 64;

constexpr const char* ENCODING = "UTF-8";

/// A parser keeps the memory that its largest document took, so that a larger one has a parser of its own.
constexpr std::size_t MAX_SHARED = 64 * 1024;

class Pass {
public:
    Pass(XML_Parser parser, const Limits& limits, PlainXmlHandler& handler)
        : parser_(parser), limits_(limits), handler_(handler) {
        XML_SetUserData(parser, this);
        XML_SetElementHandler(parser, startElement, endElement);
        XML_SetCharacterDataHandler(parser, text);
        XML_SetStartNamespaceDeclHandler(parser, declareNamespace);
        XML_SetXmlDeclHandler(parser, declareXml);
        XML_SetStartDoctypeDeclHandler(
            parser, [](void* data, const XML_Char*, const XML_Char*, const XML_Char*, int) { stop(data); });
        XML_SetCommentHandler(
            parser, [](void* data, const XML_Char*) { stop(data); });
        XML_SetProcessingInstructionHandler(
            parser, [](void* data, const XML_Char*, const XML_Char*) { stop(data); });
        XML_SetStartCdataSectionHandler(parser, [](void* data) { stop(data); });
    }

    bool run(const std::vector<unsigned char>& bytes) {
        const auto* text = reinterpret_cast<const char*>(bytes.data());
        const XML_Status status = XML_Parse(parser_, text, static_cast<int>(bytes.size()), XML_TRUE);
        if (error_)
            std::rethrow_exception(error_);
        if (status == XML_STATUS_ERROR && XML_GetErrorCode(parser_) == XML_ERROR_NO_MEMORY)
            throw std::bad_alloc();
        return status == XML_STATUS_OK && isPlain_;
    }

private:
    static Pass& of(void* data) { return *static_cast<Pass*>(data); }
    static void stop(void* data) { of(data).stop(); }

    void stop() {
        isPlain_ = false;
        XML_StopParser(parser_, XML_FALSE);
    }

    /// The parser goes on for a while when it is stopped, and takes no exceptions.
    template <class Call>
    void take(Call call) noexcept {
        if (!isPlain_)
            return;
        try {
            if (!call())
                stop();
        } catch (...) {
            error_ = std::current_exception();
            stop();
        }
    }

    std::uint64_t here() const { return static_cast<std::uint64_t>(XML_GetCurrentByteIndex(parser_)); }

    bool isWithinLimits(const PlainElement& element) {
        nodes_ += 1 + element.attributeCount();
        return ++depth_ <= limits_.xmlDepth && nodes_ <= limits_.xmlNodes;
    }

    static void XMLCALL startElement(void* data, const XML_Char* name, const XML_Char** attributes) noexcept {
        Pass& pass = of(data);
        pass.take([&] {
            const PlainElement element(name, attributes, pass.here());
            return pass.isWithinLimits(element) && pass.handler_.startElement(element);
        });
    }

    static void XMLCALL endElement(void* data, const XML_Char* /*name*/) noexcept {
        Pass& pass = of(data);
        --pass.depth_;
        pass.take([&] {
            const auto size = static_cast<std::uint64_t>(XML_GetCurrentByteCount(pass.parser_));
            return pass.handler_.endElement(pass.here() + size);
        });
    }

    static void XMLCALL text(void* data, const XML_Char* text, int size) noexcept {
        Pass& pass = of(data);
        pass.take([&] { return pass.handler_.text(std::string_view(text, static_cast<std::size_t>(size))); });
    }

    static void XMLCALL declareNamespace(void* data, const XML_Char* prefix, const XML_Char* uri) noexcept {
        Pass& pass = of(data);
        pass.take([&] {
            const std::string_view name = prefix == nullptr ? "" : prefix;
            ++pass.nodes_;
            return uri != nullptr && name.size() <= MAX_PREFIX && ++pass.declarations_ <= MAX_DECLARATIONS &&
                   pass.handler_.declareNamespace(name, uri);
        });
    }

    static void XMLCALL declareXml(void* data, const XML_Char* version, const XML_Char* encoding,
                                   int /*standalone*/) noexcept {
        Pass& pass = of(data);
        pass.take([&] {
            const std::string_view name = encoding == nullptr ? "UTF-8" : encoding;
            return version != nullptr && std::string_view(version) == "1.0" && (name == "UTF-8" || name == "utf-8");
        });
    }

    XML_Parser parser_;
    const Limits& limits_;
    PlainXmlHandler& handler_;
    std::uint64_t depth_ = 0;
    std::uint64_t nodes_ = 0;
    int declarations_ = 0;
    bool isPlain_ = true;
    std::exception_ptr error_{};
};

/// The parser takes UTF-16 by its mark, without a declaration.
bool startsPlain(const std::vector<unsigned char>& bytes) {
    constexpr unsigned char mark[] = {0xEF, 0xBB, 0xBF};
    const bool hasMark = bytes.size() >= std::size(mark) && std::equal(std::begin(mark), std::end(mark), bytes.begin());
    const std::size_t start = hasMark ? std::size(mark) : 0;
    return bytes.size() > start + 1 && bytes[start] == '<' && bytes[start + 1] != 0;
}

} // namespace

PlainXmlHandler::~PlainXmlHandler() = default;

const char* PlainElement::attribute(std::string_view name) const noexcept {
    for (const char** each = attributes_; *each != nullptr; each += 2)
        if (std::strncmp(each[0], name.data(), name.size()) == 0 && each[0][name.size()] == '\0')
            return each[1];
    return nullptr;
}

std::size_t PlainElement::attributeCount() const noexcept {
    std::size_t count = 0;
    while (attributes_[2 * count] != nullptr)
        ++count;
    return count;
}

struct PlainXmlReader::Parser {
    ExpatParser expat = ownExpatParser(XML_ParserCreateNS(ENCODING, SEPARATOR));
};

PlainXmlReader::PlainXmlReader() noexcept = default;

PlainXmlReader::~PlainXmlReader() = default;

bool PlainXmlReader::read(const std::vector<unsigned char>& bytes, const Limits& limits, PlainXmlHandler& handler) {
    if (bytes.size() > limits.xmlSize || bytes.size() > INT_MAX || !startsPlain(bytes))
        return false;
    if (bytes.size() > MAX_SHARED)
        return Pass(Parser().expat.get(), limits, handler).run(bytes);
    if (parser_)
        XML_ParserReset(parser_->expat.get(), ENCODING);
    else
        parser_ = std::make_unique<Parser>();
    return Pass(parser_->expat.get(), limits, handler).run(bytes);
}

bool readPlainXml(const std::vector<unsigned char>& bytes, const Limits& limits, PlainXmlHandler& handler) {
    return PlainXmlReader().read(bytes, limits, handler);
}

bool isXmlSpace(std::string_view text) noexcept {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

bool isSchemaNamespace(std::string_view uri) noexcept {
    return uri == "http://www.w3.org/2001/XMLSchema-instance" || uri == "http://www.w3.org/2001/XMLSchema";
}

} // namespace opc::detail
