// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/DigitalSignature.hpp>

#include "signatures/Base64.hpp"
#include "signatures/SignatureFormRules.hpp"

#include <utility>

namespace opc::model {

DigitalSignature::DigitalSignature(std::shared_ptr<DigitalSignatureData> data) : data_(std::move(data)) {}

DigitalSignature::~DigitalSignature() = default;

std::u16string DigitalSignature::getName() const {
    return SIGNATURE_NAME_PREFIX + data_->signatureId;
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
    return fromBase64(data_->signatureValue).value_or(std::vector<unsigned char>());
}

certificates::X509Certificate DigitalSignature::getCertificate() const {
    return data_->certificate;
}

certificates::X509CertificateChain DigitalSignature::getCertificateChain() const {
    return data_->certificateChain;
}

} // namespace opc::model
