// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/InputStream.hpp>
#include <opc/core/Limits.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include "signatures/SignatureFormRules.hpp"

#include <iosfwd>
#include <optional>
#include <vector>

namespace opc::model {

/// Reads signature parts (XML-DSig §4, ECMA-376-2 §10.5) strictly: only signed content is used, and unknown content is
/// refused. A part that is not plain is parsed and validated; the parsers are made, and their grammars cached, for the
/// first one. Used by one thread at a time.
class SignatureDocumentReader {
public:
    /// @param limits those for XML count.
    explicit SignatureDocumentReader(const Limits& limits = {}) : limits_(limits) {}

    /// Everything except what depends on the package: id, part name and the targets of references.
    /// @param trace gets a human-readable log of what is read, unless it has failed before. A document that is logged
    ///        is always validated.
    /// @throws InvalidPartContent for every fault of the document.
    /// @throws InvalidXMLSchema when a grammar cannot be loaded.
    /// @throws opc::Exception what the stream throws.
    DigitalSignatureData read(InputStream& stream, const SignatureFormRules& form, std::ostream& trace);

    /// Reads a document that was parsed with namespaces. It need not be validated.
    /// @param parser the one that read it.
    /// @throws InvalidPartContent
    static DigitalSignatureData readDocument(const xercesc::DOMLSParser& parser, const xercesc::DOMDocument& document,
                                             const SignatureFormRules& form, std::ostream& trace);

private:
    struct Parsers {
        explicit Parsers(const Limits& limits);

        XercesGuard guard;
        ParserHandle validator; ///< builds no tree
        ParserHandle parser;
    };

    Parsers& parsers();
    DigitalSignatureData readValidated(const std::vector<unsigned char>& bytes, const SignatureFormRules& form,
                                       std::ostream& trace);

    Limits limits_;
    std::optional<Parsers> parsers_;
};

} // namespace opc::model
