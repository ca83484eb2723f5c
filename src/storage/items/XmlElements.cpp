// SPDX-License-Identifier: Apache-2.0
#include "storage/items/XmlElements.hpp"

#include <opc/core/Strings.hpp>

#include <expat.h>

#include <algorithm>
#include <array>
#include <exception>
#include <memory>
#include <new>
#include <type_traits>

namespace opc::storage {

namespace {

/// Between the namespace and the local name of an element; which cannot occur in a URI.
constexpr XML_Char SEPARATOR = ' ';

struct ParserDeleter {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using ParserHandle = std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserDeleter>;

struct Parse {
    XML_Parser parser;
    const std::function<void(const XmlElement&)>& action;
    std::exception_ptr error{};
    bool isOtherVersion = false;
};

void XMLCALL startElement(void* data, const XML_Char* name, const XML_Char** attributes) noexcept {
    Parse& parse = *static_cast<Parse*>(data);
    try {
        parse.action(XmlElement(name, attributes));
    } catch (...) {
        parse.error = std::current_exception();
        XML_StopParser(parse.parser, XML_FALSE);
    }
}

void XMLCALL startDoctype(void* data, const XML_Char* /*name*/, const XML_Char* /*systemId*/,
                          const XML_Char* /*publicId*/, int /*hasSubset*/) noexcept {
    XML_StopParser(static_cast<Parse*>(data)->parser, XML_FALSE);
}

void XMLCALL startXml(void* data, const XML_Char* version, const XML_Char* /*encoding*/, int /*standalone*/) noexcept {
    Parse& parse = *static_cast<Parse*>(data);
    parse.isOtherVersion = version != nullptr && std::string_view(version) != "1.0";
    if (parse.isOtherVersion)
        XML_StopParser(parse.parser, XML_FALSE);
}

/// @return false when the stream is not usable XML.
bool feed(XML_Parser parser, ItemReader& stream, std::uint64_t left) {
    std::array<unsigned char, 16384> buffer;
    for (;;) {
        const std::size_t count = stream.read(buffer.data(), buffer.size());
        if (count > left)
            return false;
        left -= count;
        const auto* text = reinterpret_cast<const char*>(buffer.data());
        if (XML_Parse(parser, text, static_cast<int>(count), count == 0) != XML_STATUS_OK)
            return false;
        if (count == 0)
            return true;
    }
}

} // namespace

XmlElement::XmlElement(std::string_view name, const char** attributes)
    : name_(name.substr(0, name.find(SEPARATOR, std::min(name.find(SEPARATOR), name.size() - 1) + 1))),
      hasPrefix_(name_.size() != name.size()), attributes_(attributes) {}

std::u16string XmlElement::attribute(std::string_view name) const {
    for (const char** each = attributes_; *each; each += 2)
        if (each[0] == name)
            return toString(each[1]);
    return {};
}

XmlFault findXmlFault(ItemReader& stream, std::uint64_t maximumSize) {
    const ParserHandle parser(XML_ParserCreateNS(nullptr, SEPARATOR));
    if (!parser)
        throw std::bad_alloc();
    Parse parse{parser.get(), {}};
    XML_SetUserData(parser.get(), &parse);
    XML_SetXmlDeclHandler(parser.get(), startXml);
    XML_SetStartDoctypeDeclHandler(parser.get(), startDoctype);
    if (feed(parser.get(), stream, maximumSize))
        return XmlFault::None;
    const XML_Error error = XML_GetErrorCode(parser.get());
    const bool isEncoding = error == XML_ERROR_UNKNOWN_ENCODING || error == XML_ERROR_INCORRECT_ENCODING;
    return parse.isOtherVersion ? XmlFault::Version : isEncoding ? XmlFault::Encoding : XmlFault::Other;
}

bool forEachElement(ItemReader& stream, std::uint64_t maximumSize,
                    const std::function<void(const XmlElement&)>& action) {
    const ParserHandle parser(XML_ParserCreateNS(nullptr, SEPARATOR));
    if (!parser)
        throw std::bad_alloc();
    Parse parse{parser.get(), action};
    XML_SetReturnNSTriplet(parser.get(), XML_TRUE);
    XML_SetUserData(parser.get(), &parse);
    XML_SetStartElementHandler(parser.get(), startElement);
    XML_SetStartDoctypeDeclHandler(parser.get(), startDoctype);
    const bool complete = feed(parser.get(), stream, maximumSize);
    if (parse.error)
        std::rethrow_exception(parse.error);
    return complete;
}

} // namespace opc::storage
