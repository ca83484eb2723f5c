// SPDX-License-Identifier: Apache-2.0
#include "opcraft/SignatureClaims.hpp"

#include "opcraft/SignatureText.hpp"
#include "opcraft/Text.hpp"

#include <opc/signatures/AlgorithmNames.hpp>

#include <algorithm>

namespace opcraft {

namespace {

using opc::model::DigitalSignatureData;
using opc::model::SignedProperties;

std::vector<std::string> toUtf8(const std::vector<std::u16string>& texts) {
    std::vector<std::string> result;
    for (const std::u16string& text : texts)
        result.push_back(opcraft::toUtf8(text));
    return result;
}

std::string linesOf(const std::string& label, const std::vector<std::u16string>& texts) {
    std::string text;
    for (const std::u16string& each : texts)
        text += detailLine(label, opcraft::toUtf8(each));
    return text;
}

/// @param signedTime the time that ECMA-376-2 §10.5.14 asks for; that of XAdES is shown as the time of the signature.
std::string signedLines(const SignedProperties& properties, const boost::posix_time::ptime& signedTime) {
    std::string text;
    if (properties.signingTime.is_special() && !properties.signingTimeText.empty())
        text += detailLine("SigningTime",
                           '"' + opcraft::toUtf8(properties.signingTimeText) + "\", which is not a date and time");
    if (!signedTime.is_special() && !properties.signingTime.is_special() && properties.signingTime != signedTime)
        text += detailLine("SignatureTime", timeText(signedTime) + ", which differs");
    if (!properties.place.empty())
        text += detailLine("Place", listText(toUtf8(properties.place)));
    text += linesOf("Role", properties.roles) + linesOf("Commitment", properties.commitments) +
            linesOf("Commitment", properties.commitmentTexts);
    if (!properties.policy.empty())
        text += detailLine("Policy", opcraft::toUtf8(properties.policy));
    return text;
}

Json certificateReferenceJson(const SignedProperties::CertificateReference& reference) {
    return {{"digestMethod", opcraft::toUtf8(reference.digestMethod)},
            {"digest", opcraft::toUtf8(reference.digestValue)},
            {"issuer", textOrNull(opcraft::toUtf8(reference.issuer))},
            {"serialNumber", textOrNull(opcraft::toUtf8(reference.serialNumber))}};
}

} // namespace

std::string claimedCertificateText(const SignedProperties& properties, std::size_t place) {
    if (properties.certificates.empty())
        return {};
    const SignedProperties::CertificateReference& named = properties.certificates.at(place);
    const std::string name = named.issuer.empty() ? "by its digest alone"
                                                  : "issuer " + opcraft::toUtf8(named.issuer) + ", serial number " +
                                                        opcraft::toUtf8(named.serialNumber);
    const std::string weak = opc::model::findWeakDigestName(named.digestMethod);
    return weak.empty() ? name : name + ", by " + weak + " (weak)";
}

std::string claimLines(const DigitalSignatureData& data) {
    const DigitalSignatureData::StandardData& standard = data.standard;
    std::string text;
    if (standard.arePropertiesSigned)
        text = signedLines(standard.properties, data.signedTime);
    else if (standard.hasProperties)
        text = detailLine("XAdES", "the properties are not signed, so what they say does not count");
    return text + linesOf("Not checked", standard.unsignedProperties.others);
}

Json propertiesJson(const DigitalSignatureData& data) {
    if (!data.standard.hasProperties)
        return {};
    const SignedProperties& properties = data.standard.properties;
    return {{"signed", data.standard.arePropertiesSigned},
            {"signingTime", textOrNull(opcraft::toUtf8(properties.signingTimeText))},
            {"certificates", toJsonArray(properties.certificates, certificateReferenceJson)},
            {"policy", textOrNull(opcraft::toUtf8(properties.policy))},
            {"place", toUtf8(properties.place)},
            {"roles", toUtf8(properties.roles)},
            {"commitments", toUtf8(properties.commitments)},
            {"commitmentTexts", toUtf8(properties.commitmentTexts)}};
}

Json unsignedPropertiesJson(const DigitalSignatureData& data) {
    if (!data.standard.hasProperties)
        return {};
    const opc::model::UnsignedProperties& properties = data.standard.unsignedProperties;
    return {{"timeStamps", properties.timeStamps.size()}, {"notChecked", toUtf8(properties.others)}};
}

} // namespace opcraft
