// SPDX-License-Identifier: Apache-2.0
#include "Floors.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>

#include <expat.h>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/common/Grammar.hpp>

#include <stdexcept>

namespace opc::benchmarks {

namespace {

model::ParserHandle makeParser(const char* schema) {
    model::ParserHandle parser = model::XercesHelper::createParser();
    const std::string file = std::string(OPCRAFT_SCHEMAS) + "/" + schema;
    if (parser->loadGrammar(file.c_str(), xercesc::Grammar::SchemaGrammarType, true) == nullptr)
        throw std::runtime_error("no grammar in " + file);
    parser->getDomConfig()->setParameter(xercesc::XMLUni::fgXercesUseCachedGrammarInParse, true);
    return parser;
}

} // namespace

void SaxParser::parse(std::string_view name, const std::vector<unsigned char>& bytes) {
    const std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)> parser(
        XML_ParserCreateNS(nullptr, ' '), XML_ParserFree);
    const auto* text = reinterpret_cast<const char*>(bytes.data());
    if (XML_Parse(parser.get(), text, static_cast<int>(bytes.size()), 1) != XML_STATUS_OK)
        throw std::runtime_error("no XML: " + std::string(name));
}

ValidatingParser::ValidatingParser()
    : contentTypes_(makeParser("opc-contentTypes.xsd")), relationships_(makeParser("opc-relationships.xsd")) {}

void ValidatingParser::parse(std::string_view name, const std::vector<unsigned char>& bytes) {
    ByteArrayInAdaptor stream(bytes);
    xercesc::DOMLSParser& parser = isContentTypes(name) ? *contentTypes_ : *relationships_;
    model::XercesHelper::readDocumentFromStream(parser, stream, true, u"", u"");
}

} // namespace opc::benchmarks
