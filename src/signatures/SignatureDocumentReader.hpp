// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/InputStream.hpp>
#include <opc/core/Limits.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include "signatures/SignatureFormRules.hpp"

#include <iosfwd>

namespace opc::model {

/// Reads signature parts (XML-DSig §4, ECMA-376-2 §10.5) strictly: only signed content is used, and unknown content is
/// refused. Caches its grammars. Used by one thread at a time.
class SignatureDocumentReader {
public:
    /// @param limits those for XML count.
    /// @throws InvalidXMLSchema when a grammar cannot be loaded.
    explicit SignatureDocumentReader(const Limits& limits = {});

    /// Everything except what depends on the package: id, part name and the targets of references.
    /// @param trace a human-readable log of what is read.
    /// @throws InvalidPartContent for every fault of the document.
    /// @throws opc::Exception what the stream throws.
    DigitalSignatureData read(InputStream& stream, const SignatureFormRules& form, std::ostream& trace);

    /// Reads a document that was parsed with namespaces. It need not be validated.
    /// @param parser the one that read it.
    /// @throws InvalidPartContent
    static DigitalSignatureData readDocument(const xercesc::DOMLSParser& parser, const xercesc::DOMDocument& document,
                                             const SignatureFormRules& form, std::ostream& trace);

private:
    Limits limits_;
    XercesGuard guard_;
    ParserHandle validator_; ///< builds no tree
    ParserHandle parser_;
};

} // namespace opc::model
