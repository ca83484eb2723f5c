// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ContentTypesReader.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include <expat.h>

#include <array>
#include <exception>
#include <memory>
#include <new>
#include <utility>

namespace opc::storage {

namespace {

/// Between the namespace and the local name of an element; no URI holds it.
constexpr XML_Char SEPARATOR = ' ';
constexpr std::string_view DEFAULT_ELEMENT = "http://schemas.openxmlformats.org/package/2006/content-types Default";
constexpr std::string_view OVERRIDE_ELEMENT = "http://schemas.openxmlformats.org/package/2006/content-types Override";

struct ParserDeleter {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using ParserHandle = std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserDeleter>;

struct Parse {
    XML_Parser parser = nullptr;
    ContentTypes types;
    std::exception_ptr error;
};

std::u16string attribute(const XML_Char** attributes, std::string_view name) {
    for (; *attributes; attributes += 2) {
        if (attributes[0] == name) {
            return toString(attributes[1]);
        }
    }
    return {};
}

void XMLCALL startElement(void* data, const XML_Char* name, const XML_Char** attributes) noexcept {
    Parse& parse = *static_cast<Parse*>(data);
    try {
        if (name == DEFAULT_ELEMENT) {
            parse.types.addDefault(attribute(attributes, "Extension"), attribute(attributes, "ContentType"));
        } else if (name == OVERRIDE_ELEMENT) {
            parse.types.addOverride(attribute(attributes, "PartName"), attribute(attributes, "ContentType"));
        }
    } catch (...) {
        parse.error = std::current_exception();
        XML_StopParser(parse.parser, XML_FALSE);
    }
}

void XMLCALL startDoctype(void* data, const XML_Char* /*name*/, const XML_Char* /*systemId*/,
                          const XML_Char* /*publicId*/, int /*hasSubset*/) noexcept {
    XML_StopParser(static_cast<Parse*>(data)->parser, XML_FALSE);
}

/// @return false when the stream is no XML that can be used.
bool feed(XML_Parser parser, ItemReader& stream, std::uint64_t left) {
    std::array<unsigned char, 16384> buffer;
    for (;;) {
        const std::size_t count = stream.read(buffer.data(), buffer.size());
        if (count > left) {
            return false;
        }
        left -= count;
        const auto* text = reinterpret_cast<const char*>(buffer.data());
        if (XML_Parse(parser, text, static_cast<int>(count), count == 0) != XML_STATUS_OK) {
            return false;
        }
        if (count == 0) {
            return true;
        }
    }
}

} // namespace

const std::u16string* ContentTypes::find(std::u16string_view partName) const {
    const auto override = overrides_.find(partName);
    if (override != overrides_.end()) {
        return &override->second;
    }
    const auto entry = defaults_.find(detail::getExtension(partName));
    return entry == defaults_.end() ? nullptr : &entry->second;
}

void ContentTypes::addDefault(std::u16string extension, std::u16string contentType) {
    defaults_.try_emplace(std::move(extension), std::move(contentType));
}

void ContentTypes::addOverride(std::u16string partName, std::u16string contentType) {
    overrides_.try_emplace(std::move(partName), std::move(contentType));
}

std::optional<ContentTypes> readContentTypes(ItemReader& stream, std::uint64_t maximumSize) {
    const ParserHandle parser(XML_ParserCreateNS(nullptr, SEPARATOR));
    if (!parser) {
        throw std::bad_alloc();
    }
    Parse parse{parser.get(), {}, nullptr};
    XML_SetUserData(parser.get(), &parse);
    XML_SetStartElementHandler(parser.get(), startElement);
    XML_SetStartDoctypeDeclHandler(parser.get(), startDoctype);
    try {
        const bool complete = feed(parser.get(), stream, maximumSize);
        if (parse.error) {
            std::rethrow_exception(parse.error);
        }
        return complete ? std::optional(std::move(parse.types)) : std::nullopt;
    } catch (const Exception&) {
        return std::nullopt;
    }
}

} // namespace opc::storage
