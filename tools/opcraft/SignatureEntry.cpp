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

using opc::model::DigestMethod;
using opc::model::SignatureMethod;

std::string timeText(const boost::posix_time::ptime& time, opc::TimeForm form) {
    return time.is_special() ? std::string() : toUtf8(opc::convertTimeToString(time, form));
}

std::string digestName(DigestMethod method) {
    constexpr std::array names = {"MD5", "SHA-1", "SHA-224", "SHA-256", "SHA-384", "SHA-512"};
    const auto index = static_cast<std::size_t>(method);
    return index < names.size() ? names[index] : "an unknown digest";
}

constexpr DigestMethod weakDigests[] = {DigestMethod::MD5, DigestMethod::SHA1};

std::string keyName(const SignatureEntry& entry) {
    return "RSA with " + std::to_string(entry.keySize) + " bits";
}

unsigned keySizeOf(SignatureMethod method) {
    return method == SignatureMethod::RSA1024 ? 1024 : (method == SignatureMethod::RSA2048 ? 2048 : 4096);
}

/// As sha256sum writes it, of the key as a SubjectPublicKeyInfo in DER.
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
    } catch (const opc::Exception&) { // there is no key that could be one of these signatures
        return {};
    }
}

nlohmann::ordered_json textOrNull(const std::string& text) {
    return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text);
}

} // namespace

CertificateEntry entryOf(const opc::certificates::X509Certificate& certificate) {
    return {certificate.getSubject(),
            certificate.getIssuer(),
            certificate.getSerialNumber(),
            timeText(certificate.getNotBefore(), opc::TimeForm::Seconds),
            timeText(certificate.getNotAfter(), opc::TimeForm::Seconds),
            certificate.getKeySize()};
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
        entry.certificate = entryOf(data.certificate);
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
    for (const DigestMethod method : weakDigests)
        if (entry.digest == digestName(method))
            names.push_back(entry.digest);
    return names;
}

std::string weakDigestName(const std::u16string& identifier) {
    for (const DigestMethod method : weakDigests)
        if (identifier == opc::model::AlgorithmURIMap::getAlgorithmURI(method))
            return digestName(method);
    return {};
}

std::string detailLine(const std::string& label, const std::string& text) {
    constexpr std::size_t width = 15;
    return "  " + label + std::string(width - label.size(), ' ') + escaped(text) + '\n';
}

nlohmann::ordered_json toJson(const std::optional<CertificateEntry>& entry) {
    if (!entry)
        return {};
    nlohmann::ordered_json json;
    json["subject"] = entry->subject;
    json["issuer"] = entry->issuer;
    json["serialNumber"] = entry->serialNumber;
    json["notBefore"] = textOrNull(entry->notBefore);
    json["notAfter"] = textOrNull(entry->notAfter);
    json["keySize"] = entry->keySize;
    return json;
}

nlohmann::ordered_json toJson(const SignatureEntry& entry) {
    nlohmann::ordered_json json;
    json["name"] = entry.name;
    json["part"] = entry.part;
    json["countersignature"] = entry.isCountersignature;
    json["time"] = textOrNull(entry.time);
    json["digest"] = entry.digest;
    json["keySize"] = entry.keySize;
    json["weak"] = weakAlgorithmsOf(entry);
    json["keyFingerprint"] = textOrNull(entry.fingerprint);
    json["certificate"] = toJson(entry.certificate);
    return json;
}

} // namespace opcraft
