// SPDX-License-Identifier: Apache-2.0
#include "opcraft/SignatureText.hpp"

#include "opcraft/SignatureClaims.hpp"
#include "opcraft/Text.hpp"

#include <opc/core/Time.hpp>
#include <opc/signatures/AlgorithmNames.hpp>

namespace opcraft {

namespace {

using opc::certificates::X509Certificate;
using opc::model::SignatureAlgorithm;
using opc::model::SignatureForm;

constexpr const char* FORM_NAMES[] = {"library", "standard", "office"};
constexpr const char* KEY_KIND_NAMES[] = {"RSA", "EC", "DSA"};

} // namespace

std::string timeText(const boost::posix_time::ptime& time) {
    return time.is_special() ? std::string() : toUtf8(opc::convertTimeToString(time));
}

std::string titleOf(const SignatureSummary& signature) {
    const std::string article = signature.form == SignatureForm::Library ? "the" : "a"; // of which there may be several
    return escaped(signature.name) + (signature.isCountersignature ? " (" + article + " countersignature)" : "") + '\n';
}

std::string headLines(const SignatureSummary& signature) {
    return detailLine("Form", FORM_NAMES[static_cast<std::size_t>(signature.form)]) +
           detailLine("Time", signature.time.empty() ? "not known" : signature.time + ", as the signer says");
}

std::string algorithmOf(const SignatureSummary& signature) {
    const SignatureAlgorithm& algorithm = signature.algorithm;
    if (!algorithm.keyKind || !algorithm.digestMethod) {
        const std::string name = SignatureAlgorithm::findUnsupportedName(algorithm.identifier);
        return (name.empty() ? "" : name + ", ") + toUtf8(algorithm.identifier) + ", which is not supported";
    }
    std::string text = opc::model::getKeyName(algorithm) + ", " + opc::model::getDigestName(*algorithm.digestMethod);
    for (const std::string& weak : opc::model::findWeakNames(algorithm))
        text.insert(text.find(weak) + weak.size(), " (weak)");
    return text;
}

std::string detailLine(const std::string& label, const std::string& text) {
    return titledLine("  " + label, 17, text);
}

std::string subjectText(const X509Certificate& certificate) {
    const std::string subject = certificate.getSubject();
    return subject.empty() ? "a certificate without a subject" : subject;
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

Json toJson(const SignatureSummary& signature) {
    const SignatureAlgorithm& algorithm = signature.algorithm;
    return {
        {"name", signature.name},
        {"part", signature.part},
        {"form", FORM_NAMES[static_cast<std::size_t>(signature.form)]},
        {"countersignature", signature.isCountersignature},
        {"problem", textOrNull(signature.problem)},
        {"time", textOrNull(signature.time)},
        {"algorithm", textOrNull(toUtf8(algorithm.identifier))},
        {"keyKind", algorithm.keyKind ? Json(KEY_KIND_NAMES[static_cast<std::size_t>(*algorithm.keyKind)]) : Json()},
        {"digest", algorithm.digestMethod ? Json(opc::model::getDigestName(*algorithm.digestMethod)) : Json()},
        {"keySize", algorithm.keySize},
        {"weak", opc::model::findWeakNames(algorithm)},
        {"keyFingerprint", textOrNull(signature.fingerprint)},
        {"certificate", toJson(signature.certificate)},
        {"properties", propertiesJson(*signature.data)},
        {"unsignedProperties", unsignedPropertiesJson(*signature.data)}};
}

} // namespace opcraft
