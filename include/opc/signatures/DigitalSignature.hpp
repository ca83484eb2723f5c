// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>

#include <memory>

namespace opc::model {

/// A handle on one signature of a package. Copies and the manager share the same data.
///
/// Every getter returns a copy. Used by one thread at a time, together with its package.
class OPCRAFT_API DigitalSignature {
public:
    /// @param data not null.
    explicit DigitalSignature(std::shared_ptr<DigitalSignatureData> data);
    DigitalSignature(const DigitalSignature&) = default;
    DigitalSignature& operator=(const DigitalSignature&) = default;
    virtual ~DigitalSignature();

    SignatureForm getForm() const;
    /// "sig" and the id of the signature. In the standard forms: the name of its part without the extension, when that
    /// is "sig" and a number in "/_xmlsignatures", otherwise the part name without the slash in front, which stays
    /// where the name could be that of another signature ("/sig1", "/1").
    std::u16string getName() const;
    PartName getPartName() const;
    /// Why it cannot be read, which only a signature of the standard forms can be; empty otherwise. The other getters
    /// give empty values then.
    std::string getProblem() const;
    std::vector<PartName> getSignedPartNames() const;
    std::vector<Relationship> getSignedRelationships() const;
    /// In UTC, as claimed by the signer; nothing confirms it.
    boost::posix_time::ptime getSignedTime() const;
    /// @throws opc::Exception when they cannot express the method: another key than RSA with 1024, 2048 or 4096 bits.
    SignatureParams getSignatureParams() const;
    /// The method with the size of the signer's key, in every form.
    SignatureAlgorithm getSignatureAlgorithm() const;
    /// What the signer claims by XAdES; empty claims when nothing is signed.
    SignedProperties getSignedProperties() const;
    /// The bytes of the signature value; empty when its text is not base64.
    std::vector<unsigned char> getSignatureValue() const;
    /// The certificate of the signer; an empty one when the signature contains none.
    certificates::X509Certificate getCertificate() const;
    /// The other certificates in the signature.
    certificates::X509CertificateChain getCertificateChain() const;

    std::shared_ptr<DigitalSignatureData> getImpl() const { return data_; }

private:
    std::shared_ptr<DigitalSignatureData> data_;
};

} // namespace opc::model
