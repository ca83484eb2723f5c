// SPDX-License-Identifier: Apache-2.0
#include "opcraft/SignatureEntry.hpp"

#include "opcraft/SignatureClaims.hpp"
#include "opcraft/Text.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Time.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>

#include <algorithm>
#include <array>
#include <cstdio>

namespace opcraft {

namespace {

using opc::certificates::X509Certificate;
using opc::crypto::KeyKind;
using opc::model::DigestMethod;
using opc::model::DigitalSignature;
using opc::model::DigitalSignatureData;
using opc::model::SignatureAlgorithm;
using opc::model::SignatureForm;

constexpr DigestMethod WEAK_DIGESTS[] = {DigestMethod::MD5, DigestMethod::SHA1};
constexpr const char* FORM_NAMES[] = {"library", "standard", "office"};
constexpr const char* KEY_KIND_NAMES[] = {"RSA", "EC", "DSA"};

std::string keyName(const SignatureAlgorithm& algorithm) {
    const bool isEC = algorithm.keyKind == KeyKind::EC;
    const std::string size = std::to_string(algorithm.keySize);
    const std::string kind = isEC ? "ECDSA" : KEY_KIND_NAMES[static_cast<std::size_t>(*algorithm.keyKind)];
    if (algorithm.keySize == 0)
        return kind;
    return isEC ? kind + " on P-" + size : kind + " with " + size + " bits";
}

std::string keyFingerprintOf(const DigitalSignatureData& data) {
    try {
        if (data.publicKey)
            return fingerprintOf(data.publicKey->toDER());
        if (!data.certificate.isEmpty())
            return fingerprintOf(data.certificate.getSubjectPublicKey().toDER());
        return data.standard.keyValue ? fingerprintOf(data.standard.keyValue->toDER()) : std::string();
    } catch (const opc::Exception&) { // a key of another kind
        return {};
    }
}

/// The standard forms may also claim it by XAdES.
std::string claimedTimeOf(const DigitalSignature& signature) {
    if (signature.getForm() == SignatureForm::Library)
        return timeText(signature.getSignedTime(), opc::TimeForm::Minutes);
    const auto time = signature.getSignedProperties().signingTime;
    return timeText(time.is_special() ? signature.getSignedTime() : time);
}

} // namespace

std::string timeText(const boost::posix_time::ptime& time, opc::TimeForm form) {
    return time.is_special() ? std::string() : toUtf8(opc::convertTimeToString(time, form));
}

SignatureEntry entryOf(const opc::model::DigitalSignatureManager& manager, const DigitalSignature& signature) {
    const DigitalSignatureData& data = *signature.getImpl();
    SignatureEntry entry;
    entry.name = toUtf8(signature.getName());
    entry.part = toUtf8(data.partName);
    entry.form = data.form;
    entry.data = signature.getImpl();
    entry.problem = signature.getProblem();
    if (!entry.problem.empty())
        return entry;
    entry.isCountersignature = manager.isCountersignature(signature);
    entry.time = claimedTimeOf(signature);
    entry.algorithm = signature.getSignatureAlgorithm();
    if (!data.publicKey)
        entry.certificate = data.certificate;
    entry.fingerprint = keyFingerprintOf(data);
    entry.parts = data.signedPartNames.size();
    entry.relationships = data.signedRelationships.size();
    return entry;
}

std::string titleOf(const SignatureEntry& entry) {
    const std::string article = entry.form == SignatureForm::Library ? "the" : "a"; // of which there may be several
    return escaped(entry.name) + (entry.isCountersignature ? " (" + article + " countersignature)" : "") + '\n';
}

std::string headLines(const SignatureEntry& entry) {
    return detailLine("Form", FORM_NAMES[static_cast<std::size_t>(entry.form)]) +
           detailLine("Time", entry.time.empty() ? "not known" : entry.time + ", as the signer says");
}

std::string algorithmOf(const SignatureEntry& entry) {
    const SignatureAlgorithm& algorithm = entry.algorithm;
    if (!algorithm.keyKind || !algorithm.digestMethod) {
        const std::string name = SignatureAlgorithm::findUnsupportedName(algorithm.identifier);
        return (name.empty() ? "" : name + ", ") + toUtf8(algorithm.identifier) + ", which is not supported";
    }
    std::string text = keyName(algorithm) + ", " + digestName(*algorithm.digestMethod);
    for (const std::string& weak : weakAlgorithmsOf(entry))
        text.insert(text.find(weak) + weak.size(), " (weak)");
    return text;
}

std::vector<std::string> weakAlgorithmsOf(const SignatureEntry& entry) {
    const SignatureAlgorithm& algorithm = entry.algorithm;
    std::vector<std::string> names;
    if (algorithm.keyKind && algorithm.keyKind != KeyKind::EC && algorithm.keySize != 0 && algorithm.keySize < 2048)
        names.push_back(keyName(algorithm));
    for (const DigestMethod method : WEAK_DIGESTS)
        if (algorithm.digestMethod == method)
            names.push_back(digestName(method));
    return names;
}

std::string weakDigestName(const std::u16string& identifier) {
    const auto method = findDigestMethod(identifier);
    const bool isWeak = std::find(std::begin(WEAK_DIGESTS), std::end(WEAK_DIGESTS), method) != std::end(WEAK_DIGESTS);
    return isWeak ? digestName(*method) : std::string();
}

std::string digestName(DigestMethod method) {
    constexpr std::array names = {"MD5", "SHA-1", "SHA-224", "SHA-256", "SHA-384", "SHA-512"};
    return names.at(static_cast<std::size_t>(method));
}

std::optional<DigestMethod> findDigestMethod(const std::u16string& identifier) {
    try {
        return opc::model::AlgorithmURIMap::getDigestMethod(identifier);
    } catch (const opc::Exception&) {
        return std::nullopt;
    }
}

std::string fingerprintOf(const std::vector<unsigned char>& der) {
    opc::crypto::DigestEngine engine =
        opc::crypto::CryptoEngine::createDigestEngine(opc::crypto::DigestAlgorithm::SHA256);
    engine.update(der);
    std::string text;
    for (const unsigned char byte : engine.finish()) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
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
    const SignatureAlgorithm& algorithm = entry.algorithm;
    return {
        {"name", entry.name},
        {"part", entry.part},
        {"form", FORM_NAMES[static_cast<std::size_t>(entry.form)]},
        {"countersignature", entry.isCountersignature},
        {"problem", textOrNull(entry.problem)},
        {"time", textOrNull(entry.time)},
        {"algorithm", textOrNull(toUtf8(algorithm.identifier))},
        {"keyKind", algorithm.keyKind ? Json(KEY_KIND_NAMES[static_cast<std::size_t>(*algorithm.keyKind)]) : Json()},
        {"digest", algorithm.digestMethod ? Json(digestName(*algorithm.digestMethod)) : Json()},
        {"keySize", algorithm.keySize},
        {"weak", weakAlgorithmsOf(entry)},
        {"keyFingerprint", textOrNull(entry.fingerprint)},
        {"certificate", toJson(entry.certificate)},
        {"properties", propertiesJson(*entry.data)},
        {"unsignedProperties", unsignedPropertiesJson(*entry.data)}};
}

} // namespace opcraft
