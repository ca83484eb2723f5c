// SPDX-License-Identifier: Apache-2.0
#include "opcraft/SignatureEntry.hpp"

#include "opcraft/Text.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Time.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>

#include <array>
#include <cstdio>
#include <vector>

namespace opcraft {

namespace {

using opc::certificates::X509Certificate;
using opc::model::DigestMethod;
using opc::model::SignatureMethod;

std::string digestName(DigestMethod method) {
    constexpr std::array names = {"MD5", "SHA-1", "SHA-224", "SHA-256", "SHA-384", "SHA-512"};
    const auto index = static_cast<std::size_t>(method);
    return index < names.size() ? names[index] : "an unknown digest";
}

constexpr DigestMethod WEAK_DIGESTS[] = {DigestMethod::MD5, DigestMethod::SHA1};

std::string keyName(const SignatureEntry& entry) {
    return "RSA with " + std::to_string(entry.keySize) + " bits";
}

unsigned keySizeOf(SignatureMethod method) {
    return method == SignatureMethod::RSA1024 ? 1024 : (method == SignatureMethod::RSA2048 ? 2048 : 4096);
}

/// The SHA-256 digest of the SubjectPublicKeyInfo in DER, in hexadecimal.
std::string fingerprintOf(const opc::crypto::RSAPublicKey& key) {
    opc::crypto::DigestEngine engine =
        opc::crypto::CryptoEngine::createDigestEngine(opc::crypto::DigestAlgorithm::SHA256);
    engine.update(key.toDER());
    std::string text;
    for (const unsigned char byte : engine.finish()) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
}

std::string fingerprintOf(const opc::model::DigitalSignatureData& data) {
    try {
        return fingerprintOf(data.publicKey ? *data.publicKey : data.certificate.getPublicKey());
    } catch (const opc::Exception&) { // not an RSA key
        return {};
    }
}

} // namespace

std::string timeText(const boost::posix_time::ptime& time, opc::TimeForm form) {
    return time.is_special() ? std::string() : toUtf8(opc::convertTimeToString(time, form));
}

SignatureEntry entryOf(const opc::model::DigitalSignature& signature) {
    const opc::model::DigitalSignatureData& data = *signature.getImpl();
    SignatureEntry entry;
    entry.name = toUtf8(signature.getName());
    entry.part = toUtf8(data.partName);
    entry.isCountersignature = data.signatureId == u"countersig";
    entry.time = timeText(data.signedTime, opc::TimeForm::Minutes);
    entry.digest = digestName(data.signatureParams.getDigestMethod());
    entry.keySize = keySizeOf(data.signatureParams.getSignatureMethod());
    if (!data.publicKey && !data.certificate.isEmpty())
        entry.certificate = data.certificate;
    entry.fingerprint = fingerprintOf(data);
    entry.parts = data.signedPartNames.size();
    entry.relationships = data.signedRelationships.size();
    return entry;
}

std::string titleOf(const SignatureEntry& entry) {
    return escaped(entry.name) + (entry.isCountersignature ? " (the countersignature)" : "") + '\n';
}

std::string algorithmOf(const SignatureEntry& entry) {
    std::string text = keyName(entry) + ", " + entry.digest;
    for (const std::string& weak : weakAlgorithmsOf(entry))
        text.insert(text.find(weak) + weak.size(), " (weak)");
    return text;
}

std::vector<std::string> weakAlgorithmsOf(const SignatureEntry& entry) {
    std::vector<std::string> names;
    if (entry.keySize < 2048)
        names.push_back(keyName(entry));
    for (const DigestMethod method : WEAK_DIGESTS)
        if (entry.digest == digestName(method))
            names.push_back(entry.digest);
    return names;
}

std::string weakDigestName(const std::u16string& identifier) {
    for (const DigestMethod method : WEAK_DIGESTS)
        if (identifier == opc::model::AlgorithmURIMap::getAlgorithmURI(method))
            return digestName(method);
    return {};
}

std::string detailLine(const std::string& label, const std::string& text) {
    return titledLine("  " + label, 17, text);
}

Json toJson(const X509Certificate& certificate) {
    if (certificate.isEmpty())
        return {};
    return {{"subject", certificate.getSubject()},
            {"issuer", certificate.getIssuer()},
            {"serialNumber", certificate.getSerialNumber()},
            {"notBefore", textOrNull(timeText(certificate.getNotBefore()))},
            {"notAfter", textOrNull(timeText(certificate.getNotAfter()))},
            {"keySize", certificate.getKeySize()}};
}

Json toJson(const SignatureEntry& entry) {
    return {{"name", entry.name},
            {"part", entry.part},
            {"countersignature", entry.isCountersignature},
            {"time", textOrNull(entry.time)},
            {"digest", entry.digest},
            {"keySize", entry.keySize},
            {"weak", weakAlgorithmsOf(entry)},
            {"keyFingerprint", textOrNull(entry.fingerprint)},
            {"certificate", toJson(entry.certificate)}};
}

} // namespace opcraft
