// SPDX-License-Identifier: Apache-2.0
#include "opcraft/VerifyReport.hpp"

#include "opcraft/Text.hpp"

#include <opc/core/Strings.hpp>

#include <algorithm>
#include <map>
#include <optional>

namespace opcraft {

namespace {

using opc::model::KeySource;
using opc::model::PartName;
using opc::model::ReferenceKind;
using opc::model::ReferenceReport;
using opc::model::ReferenceVerdict;
using opc::model::Relationship;
using opc::model::SignatureReport;

std::string subjectOf(const ReferenceReport& reference) {
    const std::string target = toUtf8(reference.target);
    switch (reference.kind) {
    case ReferenceKind::Object:
        return "what the signature says that it covers (" + target + ')';
    case ReferenceKind::Relationships:
        return target == "/" ? "the relationships of the package" : "the relationships of " + target;
    case ReferenceKind::Part:
        break;
    }
    return target;
}

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

/// The digest of the signature value and those of the references may be different algorithms.
std::vector<std::string> findWeakAlgorithms(const SignatureVerdict& verdict) {
    std::vector<std::string> names = weakAlgorithmsOf(verdict.entry);
    for (const ReferenceReport& reference : verdict.report.references) {
        const std::string name = weakDigestName(reference.digestMethod);
        if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
    }
    return names;
}

std::string findProblem(const SignatureReport& report) {
    if (!report.problem.empty())
        return report.problem;
    if (!report.signatureValueHolds)
        return "the signature itself was changed, or another key made it";
    const ReferenceReport* first = report.findFirstProblem();
    return first == nullptr ? std::string() : describeProblem(*first);
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
        return subject + (isMany ? " are" : " is") + " not there any longer";
    case ReferenceVerdict::Misnamed:
        return reference.kind == ReferenceKind::Object ? reference.problem : subject + ": " + reference.problem;
    case ReferenceVerdict::NotSupported:
    case ReferenceVerdict::NotReadable:
        break;
    }
    return subject + " cannot be checked: " + reference.problem;
}

SignatureVerdict judge(const SignatureReport& report, const VerifyPolicy& policy) {
    SignatureVerdict verdict{entryOf(report.signature), report};
    verdict.problem = findProblem(report);
    verdict.weak = findWeakAlgorithms(verdict);
    judgeSigner(policy, verdict);
    return verdict;
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
        return each.report.isSignatureValid() &&
               (policy.allowsUntrusted || each.voucher == Voucher::Trusted || each.voucher == Voucher::GivenKey);
    };
    if (!std::all_of(report.signatures.begin(), report.signatures.end(), isFine))
        return Verdict::Invalid;
    if (!report.standard.empty() || !report.pkcs7.empty())
        return Verdict::Unchecked;
    if (report.signatures.empty())
        return Verdict::Unsigned;
    const bool isComplete = policy.coverage == RequiredCoverage::Any ||
                            std::all_of(report.signatures.begin(), report.signatures.end(),
                                        [](const SignatureVerdict& each) { return each.coverage.isComplete; });
    return isComplete ? Verdict::Valid : Verdict::Incomplete;
}

} // namespace opcraft
