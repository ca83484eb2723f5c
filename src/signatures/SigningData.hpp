// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/Package.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include "signatures/SignatureFormRules.hpp"

#include <memory>
#include <string>
#include <vector>

namespace opc::model {

/// What is to be signed, with what was found of it in the package.
struct DataToSign {
    const SigningRequest& request;
    std::vector<PartName> names{}; ///< of the parts, as they are stored
    std::vector<std::vector<unsigned char>> digests{};
    std::vector<ContentType> contentTypes{};
    std::vector<Relationship> relationships{};
};

/// Who signs, and how.
struct SigningMaterial {
    DigestMethod digestMethod;
    crypto::PublicKey key;                       ///< of the signer
    certificates::X509Certificate certificate{}; ///< of the key; empty: the signature contains the bare key
    certificates::X509CertificateChain chain{};  ///< of the certificate
    std::u16string comments{};                   ///< the purpose of signing
};

/// @param form of the signature: the standard forms sign keywords, too.
/// @throws RelationshipNotFound when no relationship matches the selectors.
/// @throws CouldNotGenerateSignature when something cannot be read, or one selector matches nothing.
DataToSign computeDataToSign(const Package& package, const SignatureFormRules& form, const SigningRequest& request,
                             DigestMethod digestMethod);

/// The data of a new signature, all but the signature value.
/// @throws CouldNotGenerateSignature when a content type cannot be written into a reference.
/// @throws opc::Exception when the form has no method for the key.
std::shared_ptr<DigitalSignatureData> makeSignatureData(const Package& package, const SignatureFormRules& form,
                                                        const std::u16string& id, const DataToSign& data,
                                                        const SigningMaterial& material);

/// What the signature value is over: `SignedInfo` in canonical form.
std::string getOctetsToSign(const DigitalSignatureData& signature);

/// The whole signature part.
std::string makeSignatureDocument(const DigitalSignatureData& signature);

} // namespace opc::model
