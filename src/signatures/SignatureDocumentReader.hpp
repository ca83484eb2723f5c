// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/InputStream.hpp>
#include <opc/core/Limits.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <iosfwd>

namespace opc::model {

/// Reads signature parts (XML-DSig §4, ECMA-376-2 §10.5), strictly: what is taken is what was signed, and what is not
/// understood is refused. Keeps its grammars. Used by one thread at a time.
class SignatureDocumentReader {
public:
    /// @param limits those for XML count.
    /// @throws InvalidXMLSchema when a grammar cannot be loaded.
    explicit SignatureDocumentReader(const Limits& limits = {});

    /// All but what depends on where the signature is: its id and part name, and what its references lead to.
    /// @param trace what is found on the way, for people.
    /// @throws InvalidPartContent for every fault of the document.
    /// @throws opc::Exception what the stream throws.
    DigitalSignatureData read(InputStream& stream, std::ostream& trace);

    /// Reads a document that was parsed with namespaces and validated, or not: nothing here relies on that.
    /// @param parser the one that read it.
    /// @throws InvalidPartContent
    static DigitalSignatureData readDocument(const xercesc::DOMLSParser& parser, const xercesc::DOMDocument& document,
                                             std::ostream& trace);

private:
    Limits limits_;
    XercesGuard guard_;
    ParserHandle validator_; ///< builds no tree
    ParserHandle parser_;
};

} // namespace opc::model
