// SPDX-License-Identifier: Apache-2.0
#include "opcraft/VerifyReport.hpp"

#include "opcraft/Text.hpp"

#include <opc/core/Strings.hpp>

#include <algorithm>
#include <map>
#include <optional>

namespace opcraft {

namespace {

using opc::model::CertificateClaim;
using opc::model::KeySource;
using opc::model::PartName;
using opc::model::ReferenceKind;
using opc::model::ReferenceReport;
using opc::model::ReferenceVerdict;
using opc::model::Relationship;
using opc::model::SignatureReport;

bool isTrusted(const SignatureReport& report, const VerifyPolicy& policy) {
    return policy.isTrusting && report.certificateChecked && report.certificateResults.getCertificateChainStatus() == 0;
}

/// Only a key that verified the signature value can be vouched for.
void judgeSigner(const VerifyPolicy& policy, SignatureVerdict& verdict) {
    const SignatureReport& report = verdict.report;
    if (!report.signatureValueHolds)
        return;
    if (report.keySource == KeySource::Caller) {
        verdict.voucher = Voucher::GivenKey;
    } else if (report.keySource == KeySource::Certificate) {
        const bool trusted = isTrusted(report, policy);
        verdict.certificateStatus = report.certificateResults.getCertificateChainStatus();
        if (const auto& anchor = report.certificateResults.getTrustAnchor(); trusted && anchor)
            verdict.trustAnchor = *anchor;
        verdict.voucher = trusted ? Voucher::Trusted : Voucher::Untrusted;
        if (!trusted)
            verdict.doubt = report.certificateResults.getMessage();
        if (!trusted && verdict.doubt.empty())
            verdict.doubt = "no certificate is trusted without --trust or --system-trust";
    }
}

void addOnce(const std::string& text, std::vector<std::string>& texts) {
    if (std::find(texts.begin(), texts.end(), text) == texts.end())
        texts.push_back(text);
}

/// The digests of the references, and those of certificates that XAdES has. That of the signature value may be another.
std::vector<std::u16string> digestMethodsOf(const SignatureVerdict& verdict) {
    std::vector<std::u16string> methods;
    for (const ReferenceReport& reference : verdict.report.references)
        methods.push_back(reference.digestMethod);
    if (const auto& standard = verdict.entry.data->standard; standard.arePropertiesSigned)
        for (const auto& claim : standard.properties.certificates)
            methods.push_back(claim.digestMethod);
    return methods;
}

std::vector<std::string> findWeakAlgorithms(const SignatureVerdict& verdict) {
    std::vector<std::string> names = weakAlgorithmsOf(verdict.entry);
    for (const std::u16string& method : digestMethodsOf(verdict))
        if (const std::string name = weakDigestName(method); !name.empty())
            addOnce(name, names);
    return names;
}

/// A fingerprint as tools write it, in the form of `fingerprintOf`.
std::string plainFingerprint(const std::string& text) {
    std::string plain;
    for (const char c : text)
        if (c != ':')
            plain += c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
    return plain;
}

/// Whether the key that verified is one of a signer.
/// @param signer a subject or a fingerprint.
bool isBy(const std::string& signer, const SignatureEntry& entry) {
    const std::string fingerprint = plainFingerprint(signer);
    if (fingerprint == entry.fingerprint)
        return true;
    return !entry.certificate.isEmpty() &&
           (signer == entry.certificate.getSubject() || fingerprint == fingerprintOf(entry.certificate.toDER()));
}

/// Countersignatures may be of anybody who is trusted.
void demandSigner(const VerifyPolicy& policy, SignatureVerdict& verdict) {
    const bool isAny = policy.signers.empty() || verdict.entry.isCountersignature;
    const auto isSigner = [&](const std::string& signer) { return isBy(signer, verdict.entry); };
    if (!isAny && verdict.report.signatureValueHolds &&
        std::none_of(policy.signers.begin(), policy.signers.end(), isSigner))
        verdict.objections.emplace_back("the signer is not one that --signer names");
}

void demandDigests(const VerifyPolicy& policy, SignatureVerdict& verdict) {
    if (!policy.weakestDigest)
        return;
    const auto demand = [&](std::optional<opc::model::DigestMethod> method) {
        if (method && *method < *policy.weakestDigest)
            addOnce(digestName(*method) + " is weaker than " + digestName(*policy.weakestDigest), verdict.objections);
    };
    demand(verdict.entry.algorithm.digestMethod);
    for (const std::u16string& method : digestMethodsOf(verdict))
        demand(findDigestMethod(method));
}

std::string findProblem(const SignatureReport& report) {
    if (!report.problem.empty())
        return report.problem;
    if (!report.signatureValueHolds)
        return "the signature itself was changed, or another key made it";
    if (const ReferenceReport* first = report.findFirstProblem(); first != nullptr)
        return describeProblem(*first);
    if (report.certificateClaim == CertificateClaim::Differs)
        return "the certificate is not the one that XAdES names";
    return report.certificateClaim == CertificateClaim::NotSupported
               ? "XAdES names the certificate by a digest that is not supported"
               : "";
}

bool isBrokenObject(const ReferenceReport& reference) {
    return reference.kind == ReferenceKind::Object && !reference.holds();
}

std::set<std::string> namesOf(const std::vector<PartName>& parts) {
    std::set<std::string> names;
    for (const PartName& part : parts)
        names.insert(toUtf8(part.toString()));
    return names;
}

std::set<RelationshipName> namesOf(const std::vector<Relationship>& relationships) {
    std::set<RelationshipName> names;
    for (const Relationship& each : relationships)
        names.emplace(toUtf8(each.getSourceURI().toString()), toUtf8(each.getID()));
    return names;
}

/// Removes from what is covered what another signature does not cover or need not cover.
template <class Name>
void restrict(std::size_t& covered, std::set<Name>& uncovered, std::set<Name>& excepted,
              const std::set<Name>& otherUncovered, const std::set<Name>& otherExcepted) {
    const std::size_t total = covered + uncovered.size() + excepted.size();
    uncovered.insert(otherUncovered.begin(), otherUncovered.end());
    excepted.insert(otherExcepted.begin(), otherExcepted.end());
    for (const Name& name : uncovered)
        excepted.erase(name);
    covered = total - uncovered.size() - excepted.size();
}

/// Leaves of a coverage what another one covers, too: coverages are never added up.
void restrict(CoverageEntry& coverage, const CoverageEntry& other) {
    restrict(coverage.parts, coverage.uncoveredParts, coverage.exceptedParts, other.uncoveredParts,
             other.exceptedParts);
    restrict(coverage.relationships, coverage.uncoveredRelationships, coverage.exceptedRelationships,
             other.uncoveredRelationships, other.exceptedRelationships);
    coverage.isComplete = coverage.isComplete && other.isComplete;
}

} // namespace

CoverageEntry entryOf(const opc::model::CoverageReport& coverage) {
    CoverageEntry entry;
    entry.isComplete = coverage.isComplete();
    entry.parts = coverage.coveredParts.size();
    entry.relationships = coverage.coveredRelationships.size();
    entry.uncoveredParts = namesOf(coverage.uncoveredParts);
    entry.uncoveredRelationships = namesOf(coverage.uncoveredRelationships);
    entry.otherItems = coverage.otherItems;
    entry.exceptedParts = namesOf(coverage.exceptedParts);
    entry.exceptedRelationships = namesOf(coverage.exceptedRelationships);
    entry.exceptedItems = coverage.exceptedItems;
    entry.externalTargets = coverage.externalTargets;
    return entry;
}

std::string subjectOf(const ReferenceReport& reference) {
    const std::string target = toUtf8(reference.target);
    switch (reference.kind) {
    case ReferenceKind::Object:
        return "the element " + target + " of the signature";
    case ReferenceKind::Relationships:
        return target == "/" ? "the relationships of the package" : "the relationships of " + target;
    case ReferenceKind::Part:
        break;
    }
    return target;
}

std::string describeProblem(const ReferenceReport& reference) {
    const std::string subject = subjectOf(reference);
    const bool isMany = reference.kind == ReferenceKind::Relationships;
    switch (reference.verdict) {
    case ReferenceVerdict::Holds:
        return {};
    case ReferenceVerdict::DigestDiffers:
        return subject + (isMany ? " were changed" : " was changed");
    case ReferenceVerdict::ContentTypeDiffers:
        return subject + ": " + reference.problem;
    case ReferenceVerdict::Missing:
        return isMany ? subject + ": " + reference.problem : subject + " is not there any longer";
    case ReferenceVerdict::Misnamed:
        return reference.kind == ReferenceKind::Object ? reference.problem : subject + ": " + reference.problem;
    case ReferenceVerdict::NotSupported:
    case ReferenceVerdict::NotReadable:
        break;
    }
    return subject + " cannot be checked: " + reference.problem;
}

namespace {

/// What a signature says about its key does not count then.
void showGivenKey(const VerifyPolicy& policy, SignatureVerdict& verdict) {
    verdict.entry.algorithm.keySize = verdict.report.keySize;
    verdict.entry.certificate = {};
    verdict.entry.fingerprint = fingerprintOf(policy.publicKey);
}

} // namespace

std::vector<SignatureVerdict> judge(const opc::model::DigitalSignatureManager& manager,
                                    const std::vector<SignatureReport>& reports, const VerifyPolicy& policy) {
    std::vector<SignatureVerdict> verdicts;
    for (const SignatureReport& report : reports) {
        SignatureVerdict& verdict = verdicts.emplace_back(SignatureVerdict{entryOf(manager, report.signature), report});
        if (report.keySource == opc::model::KeySource::Caller && report.signatureValueHolds)
            showGivenKey(policy, verdict);
        verdict.problem = findProblem(report);
        verdict.weak = findWeakAlgorithms(verdict);
        judgeSigner(policy, verdict);
        demandSigner(policy, verdict);
        demandDigests(policy, verdict);
    }
    return verdicts;
}

void relateSignatures(std::vector<SignatureVerdict>& verdicts) {
    std::map<std::u16string, std::string> names;
    for (const SignatureVerdict& verdict : verdicts)
        names[opc::toLowerASCIIString(opc::toString(verdict.entry.part))] = verdict.entry.name;
    for (SignatureVerdict& verdict : verdicts) {
        const auto& references = verdict.report.references;
        // Nothing is covered when an object of the signature itself does not hold.
        if (!verdict.report.signatureValueHolds || std::any_of(references.begin(), references.end(), isBrokenObject))
            continue;
        for (const ReferenceReport& reference : references) {
            const auto found = names.find(opc::toLowerASCIIString(reference.target));
            if (reference.kind == ReferenceKind::Part && reference.holds() && found != names.end())
                verdict.signatures.push_back(found->second);
        }
        // By its name it would pass as one, whoever is asked to have signed.
        if (verdict.entry.isCountersignature && verdict.signatures.empty())
            verdict.objections.emplace_back("a countersignature that signs no signature");
    }
}

CoverageEntry commonCoverage(const std::vector<SignatureVerdict>& verdicts) {
    std::optional<CoverageEntry> common;
    for (const SignatureVerdict& verdict : verdicts) {
        if (verdict.entry.isCountersignature)
            continue;
        if (common)
            restrict(*common, verdict.coverage);
        else
            common = verdict.coverage;
    }
    return common.value_or(CoverageEntry());
}

Verdict judge(const VerifyReport& report, const VerifyPolicy& policy) {
    if (!report.problem.empty())
        return Verdict::Unreadable;
    const auto isFine = [&](const SignatureVerdict& each) {
        return each.report.isSignatureValid() && each.objections.empty() &&
               (policy.allowsUntrusted || each.voucher == Voucher::Trusted || each.voucher == Voucher::GivenKey);
    };
    if (!std::all_of(report.signatures.begin(), report.signatures.end(), isFine))
        return Verdict::Invalid;
    if (report.signatures.empty())
        return report.pkcs7.empty() ? Verdict::Unsigned : Verdict::Unchecked;
    const bool isComplete = policy.coverage == RequiredCoverage::Any ||
                            std::all_of(report.signatures.begin(), report.signatures.end(),
                                        [](const SignatureVerdict& each) { return each.coverage.isComplete; });
    return isComplete ? Verdict::Valid : Verdict::Incomplete;
}

} // namespace opcraft
