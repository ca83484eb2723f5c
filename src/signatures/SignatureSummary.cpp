// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/SignatureSummary.hpp>

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

namespace opc::model {

namespace {

std::string keyFingerprintOf(const DigitalSignatureData& data) {
    try {
        if (data.publicKey)
            return getFingerprint(data.publicKey->toDER());
        if (!data.certificate.isEmpty())
            return getFingerprint(data.certificate.getSubjectPublicKey().toDER());
        return data.standard.keyValue ? getFingerprint(data.standard.keyValue->toDER()) : std::string();
    } catch (const opc::Exception&) { // a key of another kind
        return {};
    }
}

std::string w3cTime(const boost::posix_time::ptime& time, TimeForm form) {
    return time.is_special() ? std::string() : detail::toUTF8String(convertTimeToString(time, form), false);
}

/// The standard forms may also claim it by XAdES.
std::string claimedTimeOf(const DigitalSignature& signature) {
    if (signature.getForm() == SignatureForm::Library)
        return w3cTime(signature.getSignedTime(), TimeForm::Minutes);
    const auto time = signature.getSignedProperties().signingTime;
    return w3cTime(time.is_special() ? signature.getSignedTime() : time, TimeForm::Seconds);
}

} // namespace

SignatureSummary summarize(const DigitalSignatureManager& manager, const DigitalSignature& signature) {
    const DigitalSignatureData& data = *signature.getImpl();
    SignatureSummary summary;
    summary.name = detail::toUTF8String(signature.getName(), false);
    summary.part = detail::toUTF8String(data.partName, false);
    summary.form = data.form;
    summary.data = signature.getImpl();
    summary.problem = signature.getProblem();
    if (!summary.problem.empty())
        return summary;
    summary.isCountersignature = manager.isCountersignature(signature);
    summary.time = claimedTimeOf(signature);
    summary.algorithm = signature.getSignatureAlgorithm();
    if (!data.publicKey)
        summary.certificate = data.certificate;
    summary.fingerprint = keyFingerprintOf(data);
    summary.parts = data.signedPartNames.size();
    summary.relationships = data.signedRelationships.size();
    return summary;
}

std::string getFingerprint(const std::vector<unsigned char>& der) {
    crypto::DigestEngine engine = crypto::CryptoEngine::createDigestEngine(crypto::DigestAlgorithm::SHA256);
    engine.update(der);
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : engine.finish())
        text.append({digits[byte >> 4U], digits[byte & 15U]});
    return text;
}

} // namespace opc::model
