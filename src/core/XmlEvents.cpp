// SPDX-License-Identifier: Apache-2.0
#include <opc/core/XmlEvents.hpp>

#include "core/ExpatParser.hpp"

#include <algorithm>
#include <cstdint>
#include <exception>

namespace opc::detail {

namespace {

constexpr XML_Char NAME_SEPARATOR = '\x01'; // which no document has

constexpr std::size_t LONGEST_WAIT = 1UL << 30U; // expat counts in int
constexpr std::size_t MOST_ATTRIBUTES = 100'000; // of an element, with declarations; each takes some memory
constexpr std::size_t LONGEST_NAMESPACE = 1024;  // which handlers look at for each element in it

std::string_view viewOf(const XML_Char* text) {
    return text == nullptr ? std::string_view() : text;
}

/// @param text "local", "URI local" or "URI local prefix", with separators.
XmlEventName toEventName(std::string_view text) {
    const std::size_t first = text.find(NAME_SEPARATOR);
    if (first == text.npos)
        return {{}, text, {}};
    const std::size_t second = std::min(text.find(NAME_SEPARATOR, first + 1), text.size());
    const std::string_view local = text.substr(first + 1, second - first - 1);
    return {text.substr(0, first), local, text.substr(std::min(second + 1, text.size()))};
}

} // namespace

XmlEventHandler::~XmlEventHandler() = default;

/// Expat takes no exceptions: the first one ends the pass.
class XmlEventReader::Pass {
public:
    Pass(const Limits& limits, XmlEventHandler& handler)
        : parser_(ownExpatParser(XML_ParserCreateNS(nullptr, NAME_SEPARATOR))), limits_(limits), handler_(handler) {
        const XML_Parser parser = parser_.get();
        XML_SetUserData(parser, this);
        XML_SetReturnNSTriplet(parser, 1);
        XML_SetElementHandler(parser, startElement, endElement);
        XML_SetNamespaceDeclHandler(parser, declareNamespace, nullptr);
        XML_SetCharacterDataHandler(parser, text);
        XML_SetCommentHandler(parser, comment);
        XML_SetProcessingInstructionHandler(parser, instruction);
        XML_SetStartDoctypeDeclHandler(parser, [](void* data, const XML_Char*, const XML_Char*, const XML_Char*, int) {
            of(data).fail(XmlFault::DocumentType, "a document type declaration");
        });
    }

    bool read(const unsigned char* bytes, std::size_t size, bool isLast) {
        size_ += size;
        if (fault_.fault == XmlFault::None && size_ > limits_.xmlSize)
            fail(XmlFault::Limit, "more than " + std::to_string(limits_.xmlSize) + " bytes");
        if (fault_.fault != XmlFault::None)
            return false;
        waiting_.append(reinterpret_cast<const char*>(bytes), size);
        if (isLast || waiting_.size() >= std::min(beginning_, LONGEST_WAIT))
            parse(isLast);
        return fault_.fault == XmlFault::None;
    }

    const XmlEventFault& getFault() const noexcept { return fault_; }

private:
    static Pass& of(void* data) { return *static_cast<Pass*>(data); }

    void fail(XmlFault fault, const std::string& reason) {
        fault_ = {
            fault, {XML_GetCurrentLineNumber(parser_.get()), XML_GetCurrentColumnNumber(parser_.get()) + 1}, reason};
        XML_StopParser(parser_.get(), XML_FALSE);
    }

    /// Expat begins anew with a token that is not complete: of a long one, as much again is waited for, so that the
    /// time stays linear.
    void parse(bool isLast) {
        const int size = static_cast<int>(waiting_.size());
        const XML_Status status = XML_Parse(parser_.get(), waiting_.data(), size, isLast ? 1 : 0);
        if (error_)
            std::rethrow_exception(error_);
        const XML_Error code = status == XML_STATUS_ERROR ? XML_GetErrorCode(parser_.get()) : XML_ERROR_NONE;
        if (code == XML_ERROR_NO_MEMORY)
            throw std::bad_alloc();
        if (code != XML_ERROR_NONE && fault_.fault == XmlFault::None)
            fail(XmlFault::NotWellFormed, XML_ErrorString(code));
        waiting_.clear();
        const XML_Index begin = XML_GetCurrentByteIndex(parser_.get());
        beginning_ = begin < 0 ? 0 : static_cast<std::size_t>(size_ - static_cast<std::uint64_t>(begin));
    }

    template <class Call>
    void take(Call call) noexcept {
        if (error_ || fault_.fault != XmlFault::None)
            return;
        try {
            call();
        } catch (...) {
            error_ = std::current_exception();
            XML_StopParser(parser_.get(), XML_FALSE);
        }
    }

    void start(const XML_Char* name, const XML_Char** attributes) {
        if (++depth_ > limits_.xmlDepth)
            return fail(XmlFault::Limit, "elements nested deeper than " + std::to_string(limits_.xmlDepth));
        if (declarations_.size() + static_cast<unsigned>(XML_GetSpecifiedAttributeCount(parser_.get())) / 2 >
            MOST_ATTRIBUTES)
            return fail(XmlFault::Limit, "more than " + std::to_string(MOST_ATTRIBUTES) + " attributes");
        element_.name = toEventName(name);
        for (const auto& [prefix, uri] : declarations_)
            element_.declarations.push_back({prefix, uri});
        for (; *attributes != nullptr; attributes += 2)
            element_.attributes.push_back({toEventName(attributes[0]), attributes[1]});
        handler_.startElement(element_);
        element_.declarations.clear();
        element_.attributes.clear();
        declarations_.clear();
    }

    static void XMLCALL startElement(void* data, const XML_Char* name, const XML_Char** attributes) noexcept {
        of(data).take([&] { of(data).start(name, attributes); });
    }

    static void XMLCALL endElement(void* data, const XML_Char* /*name*/) noexcept {
        of(data).take([&] {
            --of(data).depth_;
            of(data).handler_.endElement();
        });
    }

    static void XMLCALL declareNamespace(void* data, const XML_Char* prefix, const XML_Char* uri) noexcept {
        of(data).take([&] {
            if (viewOf(uri).size() > LONGEST_NAMESPACE)
                return of(data).fail(XmlFault::Limit,
                                     "a namespace of more than " + std::to_string(LONGEST_NAMESPACE) + " bytes");
            of(data).declarations_.emplace_back(viewOf(prefix), viewOf(uri));
        });
    }

    static void XMLCALL text(void* data, const XML_Char* text, int size) noexcept {
        of(data).take([&] { of(data).handler_.text({text, static_cast<std::size_t>(size)}); });
    }

    static void XMLCALL comment(void* data, const XML_Char* text) noexcept {
        of(data).take([&] { of(data).handler_.comment(viewOf(text)); });
    }

    static void XMLCALL instruction(void* data, const XML_Char* target, const XML_Char* text) noexcept {
        of(data).take([&] { of(data).handler_.instruction(viewOf(target), viewOf(text)); });
    }

    ExpatParser parser_;
    const Limits limits_;
    XmlEventHandler& handler_;
    std::vector<std::pair<std::string, std::string>> declarations_; ///< of the element that starts next
    XmlEventElement element_;
    XmlEventFault fault_;
    std::string waiting_;       ///< not handed to expat yet
    std::size_t beginning_ = 0; ///< bytes of a token whose end is not there yet
    std::uint64_t size_ = 0;
    std::uint64_t depth_ = 0;
    std::exception_ptr error_{};
};

XmlEventReader::XmlEventReader(const Limits& limits, XmlEventHandler& handler)
    : pass_(std::make_unique<Pass>(limits, handler)) {}

XmlEventReader::~XmlEventReader() = default;

bool XmlEventReader::read(const unsigned char* bytes, std::size_t size) {
    constexpr std::size_t block = 1UL << 20U;
    bool goesOn = true;
    for (; goesOn && size > block; bytes += block, size -= block)
        goesOn = pass_->read(bytes, block, false);
    return goesOn && pass_->read(bytes, size, false);
}

const XmlEventFault& XmlEventReader::finish() {
    pass_->read(nullptr, 0, true);
    return pass_->getFault();
}

} // namespace opc::detail
