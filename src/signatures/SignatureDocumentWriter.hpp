// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/DigitalSignatureData.hpp>

#include <string>
#include <vector>

namespace opc::model {

/// How `SignedInfo` becomes the bytes that are signed.
enum class SignedInfoForm {
    Canonical, ///< empty elements as two tags: also its Canonical XML 1.0, which is what new signatures sign
    Plain,     ///< empty elements as one tag: what some signers take for it
};

/// Turns signatures into XML. What cannot be written leaves as `InvalidPartContent`. No state; any thread may call.
class SignatureDocumentWriter {
public:
    SignatureDocumentWriter() = delete;

    /// The package object (ECMA-376-2 §10.5.8) as text: what the reference to it digests.
    static std::string makePackageObject(const DigitalSignatureData& signature);

    /// The bytes that the signature value is over.
    static std::string makeSignedInfo(const DigitalSignatureData& signature, SignedInfoForm form);

    /// The whole signature part.
    static std::string makeDocument(const DigitalSignatureData& signature);
};

} // namespace opc::model
