// SPDX-License-Identifier: Apache-2.0
#include "signatures/XadesVerifier.hpp"

#include <opc/certificates/TimeStamp.hpp>
#include <opc/core/Exception.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>

#include "signatures/Base64.hpp"
#include "signatures/Digests.hpp"

#include <map>
#include <optional>

namespace opc::model {

namespace {

using Digest = std::vector<unsigned char>;

/// Nothing when the digest method is not known.
std::optional<Digest> digestBy(const std::u16string& identifier, const std::vector<unsigned char>& octets) {
    std::optional<DigestMethod> method;
    try {
        method = AlgorithmURIMap::getDigestMethod(identifier);
    } catch (const Exception&) {
        return std::nullopt;
    }
    crypto::DigestEngine engine = crypto::CryptoEngine::createDigestEngine(toDigestAlgorithm(*method));
    engine.update(octets);
    return engine.finish();
}

/// Why a time stamp does not hold for the octets; empty when it does.
std::string faultOf(const certificates::TimeStamp& stamp, const std::string& octets) {
    if (!stamp.getDigestAlgorithm())
        return "The digest method of the time stamp is not supported.";
    if (!stamp.covers(octets))
        return "The time stamp is not one of this signature value.";
    if (stamp.getCertificate().isEmpty())
        return "The time stamp does not contain the certificate of its authority.";
    if (!stamp.isSignatureValid())
        return "The signature of the time stamp is not valid, or its certificate is not one for time stamping alone.";
    return {};
}

/// Why a time stamp that holds is not trusted; empty when it is.
std::string doubtOf(const certificates::TimeStamp& stamp, const certificates::TrustStore& trust,
                    const certificates::X509Certificate& signer) {
    if (stamp.getDigestAlgorithm() == crypto::DigestAlgorithm::MD5)
        return "The time stamp is over a digest by MD5, of which others can be made.";
    if (trust.isEmpty())
        return "No certificate is trusted for time stamps.";
    const auto results = stamp.validateCertificate(trust, signer);
    if (results.getCertificateChainStatus() == 0)
        return {};
    return "The certificate of the time stamp is not trusted: " + results.getMessage() + ".";
}

void examine(const UnsignedProperties::TimeStamp& read, const certificates::TrustStore& trust,
             const certificates::X509Certificate& signer, TimeStampReport& report) {
    const auto stamp = certificates::TimeStamp::fromDER(read.token);
    report.time = stamp.getTime();
    if (!stamp.getCertificate().isEmpty())
        report.authority = stamp.getCertificate().getSubject();
    if (const auto digest = stamp.getDigestAlgorithm())
        report.digestMethod = AlgorithmURIMap::getAlgorithmURI(static_cast<DigestMethod>(*digest));
    report.problem = faultOf(stamp, read.imprint);
    report.holds = report.problem.empty();
    if (report.holds)
        report.problem = doubtOf(stamp, trust, signer);
    report.isTrusted = report.problem.empty();
}

} // namespace

ClaimedCertificate examineCertificateClaim(const DigitalSignatureData& data,
                                           const certificates::X509Certificate& certificate) {
    const auto& claimed = data.standard.properties.certificates;
    if (!data.standard.arePropertiesSigned || claimed.empty() || certificate.isEmpty())
        return {};
    ClaimedCertificate result{CertificateClaim::Differs};
    std::map<std::u16string, std::optional<Digest>> digests;
    for (std::size_t place = 0; place < claimed.size(); ++place) {
        const SignedProperties::CertificateReference& reference = claimed[place];
        const auto [digest, isNew] = digests.try_emplace(reference.digestMethod);
        if (isNew)
            digest->second = digestBy(reference.digestMethod, certificate.toDER());
        if (!digest->second)
            result.claim = CertificateClaim::NotSupported;
        else if (fromBase64(reference.digestValue) == digest->second)
            return {CertificateClaim::Holds, place};
    }
    return result;
}

std::vector<TimeStampReport> examineTimeStamps(const DigitalSignatureData& data, const certificates::TrustStore& trust,
                                               const certificates::X509Certificate& signer) {
    std::vector<TimeStampReport> reports;
    for (const UnsignedProperties::TimeStamp& read : data.standard.unsignedProperties.timeStamps) {
        TimeStampReport& report = reports.emplace_back();
        report.problem = read.problem;
        if (!read.problem.empty())
            continue;
        try {
            examine(read, trust, signer, report);
        } catch (const Exception& e) {
            report.problem = e.what();
            report.holds = report.isTrusted = false;
        }
    }
    return reports;
}

} // namespace opc::model
