// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/DigitalSignature.hpp>

#include "signatures/Base64.hpp"
#include "signatures/SignatureFormRules.hpp"

#include <utility>

namespace opc::model {

namespace {

SignatureParams toSignatureParams(const SignatureAlgorithm& algorithm) {
    if (algorithm.keyKind != crypto::KeyKind::RSA || !algorithm.digestMethod)
        throw Exception("Input key size is not supported as a Signature Method.");
    return {*algorithm.digestMethod, toSignatureMethod(algorithm.keySize)};
}

} // namespace

DigitalSignature::DigitalSignature(std::shared_ptr<DigitalSignatureData> data) : data_(std::move(data)) {}

DigitalSignature::~DigitalSignature() = default;

SignatureForm DigitalSignature::getForm() const {
    return data_->form;
}

std::u16string DigitalSignature::getName() const {
    return makeSignatureName(data_->form, data_->signatureId);
}

PartName DigitalSignature::getPartName() const {
    return PartName(data_->partName);
}

std::string DigitalSignature::getProblem() const {
    return data_->standard.problem;
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
    if (data_->form != SignatureForm::Library)
        return toSignatureParams(data_->standard.algorithm);
    return data_->signatureParams;
}

SignatureAlgorithm DigitalSignature::getSignatureAlgorithm() const {
    if (data_->form != SignatureForm::Library)
        return data_->standard.algorithm;
    SignatureAlgorithm algorithm = SignatureAlgorithm::of(data_->signatureMethod);
    algorithm.keySize = toKeySize(data_->signatureParams.getSignatureMethod());
    return algorithm;
}

SignedProperties DigitalSignature::getSignedProperties() const {
    return data_->standard.arePropertiesSigned ? data_->standard.properties : SignedProperties();
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
