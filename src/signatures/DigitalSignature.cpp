// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Exception.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/signatures/DigitalSignature.hpp>

#include "signatures/SignatureForm.hpp"

#include <utility>

namespace opc::model {

DigitalSignature::DigitalSignature(std::shared_ptr<DigitalSignatureData> data) : data_(std::move(data)) {}

DigitalSignature::~DigitalSignature() = default;

std::u16string DigitalSignature::getName() const {
    return signatureNamePrefix + data_->signatureId;
}

std::vector<PartName> DigitalSignature::getSignedPartNames() const {
    return data_->signedPartNames;
}

std::vector<Relationship> DigitalSignature::getSignedRelationships() const {
    return data_->signedRelationships;
}

boost::posix_time::ptime DigitalSignature::getSignedTime() const {
    return data_->signedTime;
}

SignatureParams DigitalSignature::getSignatureParams() const {
    return data_->signatureParams;
}

std::vector<unsigned char> DigitalSignature::getSignatureValue() const {
    try {
        return crypto::CryptoEngine::decodeBase64(data_->signatureValue);
    } catch (const Exception&) {
        return {};
    }
}

certificates::X509Certificate DigitalSignature::getCertificate() const {
    return data_->certificate;
}

certificates::X509CertificateChain DigitalSignature::getCertificateChain() const {
    return data_->certificateChain;
}

} // namespace opc::model
