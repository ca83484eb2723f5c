// SPDX-License-Identifier: Apache-2.0
#include "Floors.hpp"

#include <expat.h>

#include <memory>
#include <stdexcept>
#include <type_traits>

namespace opc::benchmarks {

void SaxParser::parse(std::string_view name, const std::vector<unsigned char>& bytes) {
    const std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)> parser(
        XML_ParserCreateNS(nullptr, ' '), XML_ParserFree);
    const auto* text = reinterpret_cast<const char*>(bytes.data());
    if (XML_Parse(parser.get(), text, static_cast<int>(bytes.size()), 1) != XML_STATUS_OK)
        throw std::runtime_error("no XML: " + std::string(name));
}

} // namespace opc::benchmarks
