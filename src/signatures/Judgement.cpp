// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/Judgement.hpp>

#include <opc/core/Strings.hpp>
#include <opc/core/interfaces/IPhysicalOtherItems.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/signatures/AlgorithmNames.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>
#include <opc/signatures/SignatureSearch.hpp>

#include <algorithm>
#include <map>

namespace opc::model {

namespace {

using interfaces::OpenMode;

/// Only a key that verified the signature value can be vouched for.
void judgeSigner(const JudgementOptions& options, SignatureJudgement& judgement) {
    const SignatureReport& report = judgement.report;
    if (!report.signatureValueHolds)
        return;
    if (report.keySource == KeySource::Caller) {
        judgement.voucher = Voucher::GivenKey;
    } else if (report.keySource == KeySource::Certificate) {
        const auto& results = report.certificateResults;
        const bool isTrusted = options.verification.validation.checksChain() && report.certificateChecked &&
                               results.getCertificateChainStatus() == 0;
        judgement.certificateStatus = results.getCertificateChainStatus();
        if (const auto& anchor = results.getTrustAnchor(); isTrusted && anchor)
            judgement.trustAnchor = *anchor;
        judgement.voucher = isTrusted ? Voucher::Trusted : Voucher::Untrusted;
        if (!isTrusted)
            judgement.doubt = results.getMessage();
    }
}

/// The digests of the references, and those of certificates that XAdES has. That of the signature value may be another.
std::vector<std::u16string> digestMethodsOf(const SignatureJudgement& judgement) {
    std::vector<std::u16string> methods;
    for (const ReferenceReport& reference : judgement.report.references)
        methods.push_back(reference.digestMethod);
    if (const auto& standard = judgement.summary.data->standard; standard.arePropertiesSigned)
        for (const auto& claim : standard.properties.certificates)
            methods.push_back(claim.digestMethod);
    return methods;
}

std::vector<std::string> findWeakAlgorithms(const SignatureJudgement& judgement) {
    std::vector<std::string> names = findWeakNames(judgement.summary.algorithm);
    for (const std::u16string& method : digestMethodsOf(judgement))
        if (const std::string name = findWeakDigestName(method);
            !name.empty() && std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
    return names;
}

void object(ObjectionKind kind, const std::string& text, SignatureJudgement& judgement) {
    const auto isSame = [&](const Objection& each) { return each.kind == kind && each.text == text; };
    if (std::none_of(judgement.objections.begin(), judgement.objections.end(), isSame))
        judgement.objections.push_back({kind, text});
}

/// A fingerprint as tools write it, in the form of `getFingerprint`.
std::string plainFingerprint(const std::string& text) {
    std::string plain;
    for (const char c : text)
        if (c != ':')
            plain += c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c;
    return plain;
}

/// Whether the key that verified is one of a signer.
/// @param signer a subject or a fingerprint. A subject that nobody trusted vouches for is anybody's, and so is none.
bool isBy(const std::string& signer, const SignatureJudgement& judgement) {
    const SignatureSummary& summary = judgement.summary;
    if (signer.empty())
        return false;
    const std::string fingerprint = plainFingerprint(signer);
    if (!fingerprint.empty() && fingerprint == summary.fingerprint)
        return true;
    const bool isSubject = judgement.voucher == Voucher::Trusted && signer == summary.certificate.getSubject();
    return isSubject || (!summary.certificate.isEmpty() && fingerprint == getFingerprint(summary.certificate.toDER()));
}

void demandSigner(const JudgementOptions& options, SignatureJudgement& judgement) {
    const bool isAny = options.signers.empty() || judgement.summary.isCountersignature;
    const auto isSigner = [&](const std::string& signer) { return isBy(signer, judgement); };
    if (!isAny && judgement.report.signatureValueHolds &&
        std::none_of(options.signers.begin(), options.signers.end(), isSigner))
        object(ObjectionKind::OtherSigner, "the signer is not one of those who are accepted", judgement);
}

void demandDigests(const JudgementOptions& options, SignatureJudgement& judgement) {
    if (!options.weakestDigest)
        return;
    const auto demand = [&](std::optional<DigestMethod> method) {
        if (method && *method < *options.weakestDigest)
            object(ObjectionKind::WeakDigest,
                   getDigestName(*method) + " is weaker than " + getDigestName(*options.weakestDigest), judgement);
    };
    demand(judgement.summary.algorithm.digestMethod);
    for (const std::u16string& method : digestMethodsOf(judgement))
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

/// What a signature says about its key does not count then.
void showGivenKey(const JudgementOptions& options, SignatureJudgement& judgement) {
    judgement.summary.algorithm.keySize = judgement.report.keySize;
    judgement.summary.certificate = {};
    judgement.summary.fingerprint = getFingerprint(options.verification.publicKey);
}

SignatureJudgement judge(const DigitalSignatureManager& manager, const SignatureReport& report,
                         const CoverageReport& coverage, const JudgementOptions& options) {
    SignatureJudgement judgement{summarize(manager, report.signature), report};
    if (report.keySource == KeySource::Caller && report.signatureValueHolds)
        showGivenKey(options, judgement);
    judgement.problem = findProblem(report);
    judgement.weak = findWeakAlgorithms(judgement);
    judgement.coverage = summarize(coverage);
    judgeSigner(options, judgement);
    demandSigner(options, judgement);
    demandDigests(options, judgement);
    return judgement;
}

bool isBrokenObject(const ReferenceReport& reference) {
    return reference.kind == ReferenceKind::Object && !reference.holds();
}

/// Finds out which signatures a signature covers.
/// @param names of all signatures, by their parts in lower case.
void relate(const std::map<std::u16string, std::string>& names, SignatureJudgement& judgement) {
    const auto& references = judgement.report.references;
    // Nothing is covered when an object of the signature itself does not hold.
    if (!judgement.report.signatureValueHolds || std::any_of(references.begin(), references.end(), isBrokenObject))
        return;
    for (const ReferenceReport& reference : references) {
        const auto found = names.find(toLowerASCIIString(reference.target));
        if (reference.kind == ReferenceKind::Part && reference.holds() && found != names.end())
            judgement.signatures.push_back(found->second);
    }
    if (judgement.summary.isCountersignature && judgement.signatures.empty())
        object(ObjectionKind::SignsNothing, "a countersignature that signs no signature", judgement);
}

void relate(std::vector<SignatureJudgement>& judgements) {
    std::map<std::u16string, std::string> names;
    for (const SignatureJudgement& each : judgements)
        names[toLowerASCIIString(toString(each.summary.part))] = each.summary.name;
    for (SignatureJudgement& each : judgements)
        relate(names, each);
}

/// Countersignatures cover no content.
CoverageSummary commonCoverage(const std::vector<SignatureJudgement>& judgements) {
    std::optional<CoverageSummary> common;
    for (const SignatureJudgement& each : judgements) {
        if (each.summary.isCountersignature)
            continue;
        if (common)
            restrict(*common, each.coverage);
        else
            common = each.coverage;
    }
    return common.value_or(CoverageSummary());
}

Verdict findVerdict(const PackageJudgement& judgement, const JudgementOptions& options) {
    const auto& signatures = judgement.signatures;
    if (!std::all_of(signatures.begin(), signatures.end(),
                     [&](const SignatureJudgement& each) { return each.isFine(options); }))
        return Verdict::Invalid;
    if (signatures.empty())
        return judgement.unchecked.empty() ? Verdict::Unsigned : Verdict::Unchecked;
    const bool isComplete = options.coverage == RequiredCoverage::Any ||
                            std::all_of(signatures.begin(), signatures.end(),
                                        [](const SignatureJudgement& each) { return each.coverage.isComplete; });
    return isComplete ? Verdict::Valid : Verdict::Incomplete;
}

std::vector<std::string> otherItemsOf(const interfaces::IPhysicalPackage& store) {
    const auto* const items = dynamic_cast<const interfaces::IPhysicalOtherItems*>(&store);
    return items == nullptr ? std::vector<std::string>() : items->getOtherItems();
}

} // namespace

bool SignatureJudgement::isFine(const JudgementOptions& options) const noexcept {
    return report.isSignatureValid() && objections.empty() &&
           (options.allowsUntrusted || voucher == Voucher::Trusted || voucher == Voucher::GivenKey);
}

std::string describeTarget(const ReferenceReport& reference) {
    const std::string target = detail::toUTF8String(reference.target, false);
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
    const std::string subject = describeTarget(reference);
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

PackageJudgement judgeSignatures(const DigitalSignatureManager& manager, const interfaces::IPhysicalPackage& store,
                                 const JudgementOptions& options) {
    const std::vector<std::string> otherItems = otherItemsOf(store);
    const std::vector<SignatureReport> reports = manager.examineAllSignatures(options.verification);
    const bool isAll = options.coverage == RequiredCoverage::All;
    const auto coverage =
        manager.examineCoverage(reports, otherItems, isAll ? CoverageScope::All : CoverageScope::Content);
    const FoundSignatures found = findSignatures(manager.getPackage(), otherItems);
    PackageJudgement judgement;
    for (std::size_t i = 0; i < reports.size(); ++i)
        judgement.signatures.push_back(judge(manager, reports[i], coverage[i], options));
    relate(judgement.signatures);
    judgement.coverage = commonCoverage(judgement.signatures);
    judgement.unchecked = found.pkcs7;
    judgement.loose = found.xml;
    for (const SignatureJudgement& each : judgement.signatures)
        judgement.loose.erase(each.summary.part);
    judgement.verdict = findVerdict(judgement, options);
    return judgement;
}

PackageJudgement verifyPackage(interfaces::IPhysicalPackage& store, const JudgementOptions& options,
                               const Limits& limits) {
    Package package(store, limits);
    const DigitalSignatureManager manager(package, getAllSignatureForms(), SignatureForm::Standard);
    try {
        package.open(OpenMode::ReadOnly);
    } catch (const InvalidSignature& e) {
        PackageJudgement judgement;
        judgement.verdict = Verdict::Unreadable;
        judgement.place = e.getPlace();
        const bool isKnown = judgement.place && !judgement.place->item.empty();
        judgement.problem = (isKnown ? judgement.place->item + ": " : std::string()) + e.what();
        return judgement;
    }
    return judgeSignatures(manager, store, options);
}

} // namespace opc::model
