// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/DigitalSignatureData.hpp>

#include <string>
#include <vector>

namespace opc::model {

/// How `SignedInfo` becomes the bytes that are signed.
enum class SignedInfoForm {
    Canonical, ///< empty elements as two tags, as in Canonical XML 1.0; used by new signatures
    Plain,     ///< empty elements as one tag, as some signers do
};

/// Serializes signatures. Throws `InvalidPartContent` for content that cannot be written. Stateless and thread-safe.
class SignatureDocumentWriter {
public:
    SignatureDocumentWriter() = delete;

    /// The package object (ECMA-376-2 §10.5.8) as text, which the reference to it digests.
    static std::string makePackageObject(const DigitalSignatureData& signature);

    /// The bytes that are signed.
    static std::string makeSignedInfo(const DigitalSignatureData& signature, SignedInfoForm form);

    /// The whole signature part.
    static std::string makeDocument(const DigitalSignatureData& signature);
};

} // namespace opc::model
