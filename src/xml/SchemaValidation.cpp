// SPDX-License-Identifier: Apache-2.0
#include "xml/SchemaValidation.hpp"

#include <opc/xml/XercesErrorHandler.hpp>
#include <opc/xml/XercesGuard.hpp>

#include "xml/ParserSettings.hpp"
#include "xml/XercesErrors.hpp"

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/Wrapper4InputSource.hpp>
#include <xercesc/validators/common/Grammar.hpp>

namespace opc::model {

namespace {

void loadGrammar(xercesc::DOMLSParser& parser, const EmbeddedSchema& schema) {
    static const std::u16string noLocation;
    XercesErrorHandler errors;
    ResourceRefuser refuser(noLocation);
    const ParserSettings settings(parser, errors, refuser);
    const xercesc::Wrapper4InputSource source(new xercesc::MemBufInputSource(
        reinterpret_cast<const XMLByte*>(schema.text), schema.length, schema.systemId, false));
    const auto* grammar = parser.loadGrammar(&source, xercesc::Grammar::SchemaGrammarType, true);
    refuser.throwIfRefused();
    errors.throwIfError();
    if (grammar == nullptr)
        throw InvalidXMLDocument(std::string("no grammar in ") + schema.systemId);
}

} // namespace

void loadEmbeddedSchema(xercesc::DOMLSParser& parser, const EmbeddedSchema& schema) {
    const XercesGuard guard;
    try {
        translatingXercesErrors([&] { loadGrammar(parser, schema); });
    } catch (const InvalidXMLDocument& e) {
        throw InvalidXMLSchema(std::string("Schema could not be loaded: ") + e.what());
    }
}

} // namespace opc::model
