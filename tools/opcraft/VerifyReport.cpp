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
using opc::model::ReferenceKind;
using opc::model::ReferenceReport;
using opc::model::ReferenceVerdict;
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
void judgeSigner(const SignatureReport& report, const VerifyPolicy& policy, SignatureVerdict& verdict) {
    if (!report.signatureValueHolds)
        return;
    if (report.keySource == KeySource::Caller) {
        verdict.voucher = Voucher::GivenKey;
    } else if (report.keySource == KeySource::Certificate) {
        const bool trusted = isTrusted(report, policy);
        verdict.certificateStatus = report.certificateResults.getCertificateChainStatus();
        if (const auto& anchor = report.certificateResults.getTrustAnchor(); trusted && anchor)
            verdict.trustAnchor = entryOf(*anchor);
        verdict.certificateCovered = report.certificateCovered;
        verdict.voucher = trusted ? Voucher::Trusted : Voucher::Untrusted;
        if (!trusted)
            verdict.doubt = report.certificateResults.getMessage();
        if (!trusted && verdict.doubt.empty())
            verdict.doubt = "no certificate is trusted without --trust or --system-trust";
    }
}

/// The digest of the signature value is one, those of what it covers may be others.
std::vector<std::string> findWeakAlgorithms(const SignatureReport& report, const SignatureEntry& entry) {
    std::vector<std::string> names = weakAlgorithmsOf(entry);
    for (const ReferenceReport& reference : report.references) {
        const std::string name = weakDigestName(reference.digestMethod);
        if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
    }
    return names;
}

void judgeReferences(const SignatureReport& report, SignatureVerdict& verdict) {
    verdict.references = report.references;
    verdict.weak = findWeakAlgorithms(report, verdict.entry);
    for (const std::u16string& id : report.uncoveredObjects)
        verdict.uncoveredObjects.push_back(toUtf8(id));
    verdict.problems =
        static_cast<std::size_t>(std::count_if(report.references.begin(), report.references.end(),
                                               [](const ReferenceReport& reference) { return !reference.holds(); }));
    if (!report.signatureValueHolds)
        verdict.problem = "the signature itself was changed, or another key made it";
    else if (const ReferenceReport* first = report.findFirstProblem())
        verdict.problem = describeProblem(*first);
}

bool isBrokenObject(const ReferenceReport& reference) {
    return reference.kind == ReferenceKind::Object && !reference.holds();
}

} // namespace

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

SignatureVerdict judge(const CheckedSignature& checked, const VerifyPolicy& policy) {
    SignatureVerdict verdict{entryOf(checked.signature)};
    verdict.weak = weakAlgorithmsOf(verdict.entry);
    verdict.problem = checked.problem;
    verdict.holds = checked.holds();
    if (!checked.report)
        return verdict;
    verdict.valueHolds = checked.report->signatureValueHolds;
    judgeReferences(*checked.report, verdict);
    judgeSigner(*checked.report, policy, verdict);
    return verdict;
}

void relateSignatures(std::vector<SignatureVerdict>& verdicts) {
    std::map<std::u16string, std::string> names;
    for (const SignatureVerdict& verdict : verdicts)
        names[opc::toLowerASCIIString(opc::toString(verdict.entry.part))] = verdict.entry.name;
    for (SignatureVerdict& verdict : verdicts) {
        const auto& references = verdict.references;
        // When the list itself does not hold, nothing on it is covered.
        if (!verdict.valueHolds || std::any_of(references.begin(), references.end(), isBrokenObject))
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
        return each.holds &&
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
