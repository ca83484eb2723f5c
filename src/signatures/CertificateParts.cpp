// SPDX-License-Identifier: Apache-2.0
#include "signatures/CertificateParts.hpp"

#include "model/ItemBytes.hpp"
#include "signatures/KeyInfoReader.hpp"
#include "signatures/SignatureElements.hpp"

#include <opc/errors/Errors.hpp>
#include <opc/signatures/SignatureForm.hpp>

#include <algorithm>
#include <optional>
#include <utility>

namespace opc::model {

namespace {

using certificates::X509Certificate;
using Certificates = std::vector<X509Certificate>;

/// More than any certificate has, in bytes.
constexpr std::uint64_t MAXIMUM_CERTIFICATE_SIZE = 1024 * 1024;

/// The name of the part that a relationship leads to; nothing when it leads elsewhere.
std::optional<PartName> targetOf(const Relationship& relationship) {
    if (relationship.getTargetMode() != TargetMode::Internal)
        return std::nullopt;
    try {
        return PartName(relationship.getTargetURI());
    } catch (const Exception&) { // no part has such a name
        return std::nullopt;
    }
}

std::optional<X509Certificate> readCertificate(const Part& part) {
    const std::vector<unsigned char> bytes = readXmlItem(*part.getInputStream(), MAXIMUM_CERTIFICATE_SIZE);
    try {
        return X509Certificate::fromDER(bytes);
    } catch (const Exception&) { // content of another kind
        return std::nullopt;
    }
}

void addToChain(const Certificates& certificates, DigitalSignatureData& data) {
    const auto& chain = data.certificateChain.getCertificates();
    for (const X509Certificate& each : certificates)
        if (each != data.certificate && std::find(chain.begin(), chain.end(), each) == chain.end())
            data.certificateChain.add(each);
}

/// The certificates that stand in the signature, and behind them those of parts.
Certificates withThose(const DigitalSignatureData& data, const Certificates& ofParts) {
    Certificates all = data.certificateChain.getCertificates();
    if (!data.certificate.isEmpty())
        all.insert(all.begin(), data.certificate);
    for (const X509Certificate& each : ofParts)
        if (std::find(all.begin(), all.end(), each) == all.end())
            all.push_back(each);
    return all;
}

} // namespace

void addCertificateParts(const Package& package, const Part& signaturePart, DigitalSignatureData& data) {
    const auto relationships = signaturePart.getRelationshipsByType(
        getSignatureIdentifiers(SignatureForm::Standard).certificateRelationshipType);
    if (relationships.size() > MAXIMUM_CERTIFICATES)
        refuseSignature("more than " + std::to_string(MAXIMUM_CERTIFICATES) + " relationships to certificates.");
    Certificates certificates;
    std::vector<PartName>& parts = data.standard.certificateParts;
    for (const Relationship& each : relationships) {
        const auto name = targetOf(each);
        if (!name || !package.hasPart(*name) || std::find(parts.begin(), parts.end(), *name) != parts.end())
            continue;
        const Part part = package.getPart(*name);
        if (auto certificate = readCertificate(part)) {
            parts.push_back(part.getName());
            certificates.push_back(std::move(*certificate));
        }
    }
    if (!data.certificate.isEmpty() && (certificates.empty() || isSignedBy(data, data.certificate)))
        return addToChain(certificates, data);
    const X509Certificate former = data.certificate;
    chooseStandardSigner(data, withThose(data, certificates));
    data.standard.isCertificateSigned &= data.certificate == former;
}

} // namespace opc::model
