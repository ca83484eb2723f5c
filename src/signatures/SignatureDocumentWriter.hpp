// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/DigitalSignatureData.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <string>
#include <vector>

namespace opc::model {

/// How `SignedInfo` becomes the bytes that are signed.
enum class SignedInfoForm {
    Canonical, ///< empty elements as two tags: also its Canonical XML 1.0, which is what new signatures sign
    Plain,     ///< empty elements as one tag: what some signers take for it
};

/// Turns signatures into XML. What cannot be written leaves as `InvalidPartContent`. Used by one thread at a time.
class SignatureDocumentWriter {
public:
    SignatureDocumentWriter();

    /// The package object (ECMA-376-2 §10.5.8) as text: what the reference to it digests.
    std::u16string makePackageObject(const DigitalSignatureData& signature);

    /// The bytes that the signature value is over.
    std::vector<unsigned char> makeSignedInfo(const DigitalSignatureData& signature, SignedInfoForm form);

    /// The whole signature part.
    std::vector<unsigned char> makeDocument(const DigitalSignatureData& signature);

private:
    XercesGuard guard_;
    WriterHandle writer_;
};

} // namespace opc::model
