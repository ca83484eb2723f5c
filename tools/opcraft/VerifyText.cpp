// SPDX-License-Identifier: Apache-2.0
// The text report of `verify`.
#include "opcraft/Relationships.hpp"
#include "opcraft/SignatureClaims.hpp"
#include "opcraft/SignatureParts.hpp"
#include "opcraft/SignatureText.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/VerifyReport.hpp"

#include <opc/signatures/AlgorithmNames.hpp>

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>

namespace opcraft {

namespace {

using opc::model::CertificateClaim;
using opc::model::CoverageSummary;
using opc::model::ReferenceKind;
using opc::model::ReferenceReport;
using opc::model::RelationshipName;
using opc::model::RelationshipSelector;
using opc::model::RelationshipSelectorType;
using opc::model::RequiredCoverage;
using opc::model::SignatureJudgement;
using opc::model::Verdict;
using opc::model::Voucher;

std::vector<std::string> uncoveredNames(const CoverageSummary& coverage) {
    std::vector<std::string> names(coverage.uncoveredParts.begin(), coverage.uncoveredParts.end());
    for (const RelationshipName& each : coverage.uncoveredRelationships)
        names.push_back(relationshipText(each.first, each.second));
    for (const std::string& item : coverage.otherItems)
        names.push_back(item + ", which is not a part");
    return names;
}

std::vector<std::string> exceptedNames(const CoverageSummary& coverage) {
    std::vector<std::string> names(coverage.exceptedParts.begin(), coverage.exceptedParts.end());
    for (const RelationshipName& each : coverage.exceptedRelationships)
        names.push_back(relationshipText(each.first, each.second));
    names.insert(names.end(), coverage.exceptedItems.begin(), coverage.exceptedItems.end());
    for (std::string& name : names)
        name += ": not signed, not content";
    return names;
}

std::string nameLines(const std::string& label, const std::vector<std::string>& names, bool explain) {
    const std::size_t count = explain || names.size() <= SHOWN_NAMES + 1 ? names.size() : SHOWN_NAMES;
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += detailLine(i == 0 ? label : "", names[i]);
    if (count < names.size())
        text += detailLine("", "and " + std::to_string(names.size() - count) + " more (--explain names all)");
    return text;
}

std::string ofText(std::size_t covered, std::size_t uncovered, const std::string& noun) {
    return std::to_string(covered) + " of " + countText(covered + uncovered, noun);
}

std::string coverageText(const CoverageSummary& coverage) {
    std::string text =
        ofText(coverage.coveredParts.size(), coverage.uncoveredParts.size(), "part") + ", " +
        ofText(coverage.coveredRelationships.size(), coverage.uncoveredRelationships.size(), "relationship");
    if (!coverage.otherItems.empty())
        text += ", " + ofText(0, coverage.otherItems.size(), "other item");
    return text;
}

std::string uncoveredLines(const CoverageSummary& coverage, bool explain) {
    return nameLines("Not covered", uncoveredNames(coverage), explain) +
           nameLines("Not asked for", exceptedNames(coverage), explain);
}

/// The digest in the entry is that of the signature value; the references may have others.
std::string weakDigestsText(const SignatureJudgement& verdict) {
    std::set<std::string> names;
    for (const ReferenceReport& reference : verdict.report.references)
        names.insert(opc::model::findWeakDigestName(reference.digestMethod));
    names.erase("");
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "; covers by " : ", ") + name + " (weak)";
    return text;
}

std::string cryptographyText(const SignatureJudgement& verdict) {
    if (!verdict.summary.problem.empty())
        return "cannot be read: " + verdict.problem;
    if (verdict.report.isSignatureValid())
        return "holds (" + algorithmOf(verdict.summary) + weakDigestsText(verdict) + ')';
    std::string text = "does not hold: " + verdict.problem;
    const auto& references = verdict.report.references;
    const auto problems =
        std::count_if(references.begin(), references.end(), [](const ReferenceReport& each) { return !each.holds(); });
    if (verdict.report.signatureValueHolds && problems > 1)
        text +=
            ", and " + countText(static_cast<std::uint64_t>(problems) - 1, "more problem") + " (--explain shows all)";
    return text;
}

std::string certificateText(const SignatureJudgement& verdict) {
    const opc::certificates::X509Certificate& certificate = verdict.summary.certificate;
    return certificate.isEmpty() ? "the certificate"
                                 : subjectText(certificate) + ", issued by " + certificate.getIssuer();
}

std::string voucherText(const SignatureJudgement& verdict) {
    switch (verdict.voucher) {
    case Voucher::GivenKey:
        return "the given public key";
    case Voucher::Trusted:
        return "a trusted certificate: " + certificateText(verdict);
    case Voucher::Untrusted:
        return "an untrusted certificate: " + certificateText(verdict) + " (" + doubtText(verdict) + ')';
    case Voucher::Nobody:
        break;
    }
    if (!verdict.report.signatureValueHolds)
        return "nobody: it is not known which key made the signature value" +
               (verdict.summary.certificate.isEmpty() ? ""
                                                      : "; the certificate beside it is " + certificateText(verdict));
    return "nobody: the signature carries a bare key";
}

std::string selectorText(const RelationshipSelector& selector) {
    const bool isById = selector.getSelectorType() == RelationshipSelectorType::ById;
    return (isById ? "ID " : "type ") + toUtf8(selector.getSelectionCriteria());
}

std::string lineIfAny(const std::string& label, const std::string& text) {
    return text.empty() ? std::string() : "  " + detailLine(label, text);
}

/// @param number counts from 1, as `--dump-reference` does.
std::string referenceText(const ReferenceReport& reference, std::size_t number) {
    const char* kind = reference.kind == ReferenceKind::Object
                           ? "Object "
                           : (reference.kind == ReferenceKind::Part ? "Part " : "Relationships of ");
    const std::string verdict = reference.holds() ? "holds" : opc::model::describeProblem(reference);
    std::string text =
        "  " + std::to_string(number) + ". " + escaped(kind + toUtf8(reference.target) + ": " + verdict) + '\n';
    text += lineIfAny("Problem", reference.problem);
    text += lineIfAny(reference.holds() ? "Remark" : "Would match", reference.remark);
    text += lineIfAny("Signed type", toUtf8(reference.claimedContentType));
    text += lineIfAny("Type now", toUtf8(reference.foundContentType));
    text += lineIfAny("Digest", toUtf8(reference.digestMethod));
    text += lineIfAny("Signed digest", toUtf8(reference.claimedDigest));
    text += lineIfAny("Digest now", toUtf8(reference.foundDigest));
    for (const std::u16string& transform : reference.transforms)
        text += lineIfAny("Transform", toUtf8(transform));
    for (const RelationshipSelector& selector : reference.selectors)
        text += lineIfAny("Selects", selectorText(selector));
    for (const opc::model::Relationship& relationship : reference.relationships)
        text += lineIfAny("Relationship", toUtf8(relationship.getID()) + " to " + toUtf8(relationship.getTarget()));
    return text;
}

bool coversContent(const SignatureJudgement& verdict) {
    const auto isPart = [](const ReferenceReport& each) { return each.kind == ReferenceKind::Part && each.holds(); };
    const auto parts = std::count_if(verdict.report.references.begin(), verdict.report.references.end(), isPart);
    return static_cast<std::size_t>(parts) > verdict.signatures.size();
}

std::string coverageLines(const SignatureJudgement& verdict, bool explain) {
    const CoverageSummary& coverage = verdict.coverage;
    std::string text = coverageText(coverage);
    if (verdict.summary.isCountersignature)
        text = ofText(coverage.coveredParts.size(), coverage.uncoveredParts.size(), "other signature") +
               (coversContent(verdict) ? "" : ", and no content");
    return detailLine("Covered", text) + uncoveredLines(coverage, explain);
}

/// Whether the signature covers its certificate, and how.
std::string certificateLine(const SignatureJudgement& verdict) {
    if (verdict.summary.certificate.isEmpty())
        return {};
    const std::string named =
        claimedCertificateText(verdict.summary.data->standard.properties, verdict.report.claimedCertificate);
    if (verdict.report.certificateCovered)
        return detailLine("Certificate", verdict.report.certificateClaim == CertificateClaim::Holds
                                             ? "covered by the signature, since XAdES names it: " + named
                                             : "covered by the signature, with the KeyInfo that it stands in");
    return verdict.report.certificateClaim == CertificateClaim::None
               ? detailLine("Certificate", "not covered by the signature: another one for the same key could take its "
                                           "place")
               : detailLine("Certificate", "XAdES names this one: " + named);
}

std::string timeStampText(const opc::model::TimeStampReport& stamp) {
    const std::string text = (stamp.time.is_special() ? "at an unknown time" : timeText(stamp.time)) +
                             (stamp.authority.empty() ? "" : ", by " + stamp.authority);
    if (!stamp.holds)
        return "does not hold: " + text + " (" + stamp.problem + ')';
    return text + (stamp.isTrusted ? ", which is trusted" : ", which is not trusted (" + stamp.problem + ')');
}

/// Who signed, and when.
std::string signerLines(const SignatureJudgement& verdict, const VerifyReport& report, bool explain) {
    std::string text = detailLine("Vouched for by", voucherText(verdict));
    if (explain && !verdict.trustAnchor.isEmpty())
        text += detailLine("Trust anchor", subjectText(verdict.trustAnchor) + ", serial number " +
                                               verdict.trustAnchor.getSerialNumber());
    if ((explain || report.showsValidationTime) && !verdict.report.validationTime.is_special())
        text += detailLine("Checked for", timeText(verdict.report.validationTime));
    if (!verdict.summary.fingerprint.empty())
        text += detailLine("Key SHA-256", verdict.summary.fingerprint);
    text += certificateLine(verdict);
    for (const opc::model::TimeStampReport& stamp : verdict.report.timeStamps)
        text += detailLine("Time stamp", timeStampText(stamp));
    return text + claimLines(*verdict.summary.data);
}

/// What is unusual about references that hold, each remark once.
std::string remarkLines(const SignatureJudgement& verdict) {
    std::map<std::string, std::vector<std::string>> targets;
    for (const ReferenceReport& reference : verdict.report.references)
        if (reference.holds() && !reference.remark.empty())
            targets[reference.remark].push_back(opc::model::describeTarget(reference));
    std::string text;
    for (const auto& [remark, names] : targets)
        text += detailLine("Remark", listText(names) + ": " + remark);
    return text;
}

std::string uncoveredObjectLines(const SignatureJudgement& verdict) {
    std::string text;
    for (const std::u16string& id : verdict.report.uncoveredObjects)
        text += detailLine("Not covered",
                           "object " + (id.empty() ? "without an Id" : toUtf8(id)) + " of " + verdict.summary.part);
    return text;
}

std::string toText(const SignatureJudgement& verdict, const VerifyReport& report, bool explain) {
    const opc::model::SignatureSummary& entry = verdict.summary;
    std::string text = titleOf(entry);
    if (!entry.problem.empty())
        return text + detailLine("Part", entry.part) + detailLine("Cryptography", cryptographyText(verdict));
    text += headLines(entry) + detailLine("Cryptography", cryptographyText(verdict)) + remarkLines(verdict) +
            signerLines(verdict, report, explain);
    for (const opc::model::Objection& objection : verdict.objections)
        text += detailLine("Not accepted", objectionText(objection));
    text += coverageLines(verdict, explain) + uncoveredObjectLines(verdict);
    std::size_t number = 0;
    if (explain)
        for (const ReferenceReport& reference : verdict.report.references)
            text += referenceText(reference, ++number);
    return text;
}

std::string otherKinds(const VerifyReport& report) {
    std::string text = pkcs7Text(report.judgement.unchecked.size());
    for (const std::string& part : report.judgement.loose)
        text += escaped(part) + " looks like a signature but is not tied to the package, not checked\n";
    return text;
}

/// What every signature covers, as the end of a sentence.
const char* coveredText(const VerifyReport& report) {
    switch (report.required) {
    case RequiredCoverage::Content:
        return ", and covers the content";
    case RequiredCoverage::All:
        return ", and covers everything";
    case RequiredCoverage::Any:
        break;
    }
    return "";
}

std::string signersText(const VerifyReport& report) {
    std::vector<std::string> signers;
    for (const SignatureJudgement& verdict : report.judgement.signatures)
        if (const std::string name = escaped(certificateText(verdict));
            std::find(signers.begin(), signers.end(), name) == signers.end())
            signers.push_back(name);
    std::string text;
    for (const std::string& signer : signers)
        text += (text.empty() ? " Signed by " : "; ") + signer;
    return text;
}

std::string verdictText(const VerifyReport& report) {
    switch (report.judgement.verdict) {
    case Verdict::Unreadable:
        return "The package was changed after it was signed, or its signatures are malformed.";
    case Verdict::Invalid:
        return std::any_of(report.judgement.signatures.begin(), report.judgement.signatures.end(),
                           [](const SignatureJudgement& each) { return !each.objections.empty(); })
                   ? "Not every signature holds, is vouched for and is accepted."
                   : "Not every signature holds and is vouched for.";
    case Verdict::Unchecked:
        return "The signatures are of a kind that is not checked.";
    case Verdict::Unsigned:
        return "No signatures.";
    case Verdict::Incomplete:
        return report.required == RequiredCoverage::All ? "Not every signature covers everything."
                                                        : "Not every signature covers the content.";
    case Verdict::Valid:
        break;
    }
    const std::string start =
        report.allowsUntrusted ? "Every signature holds" : "Every signature holds and is vouched for";
    return start + coveredText(report) + '.' + (report.namesSigners ? signersText(report) : "");
}

std::string externalText(const CoverageSummary& coverage) {
    if (coverage.externalTargets == 0)
        return {};
    return countText(coverage.externalTargets, "external target") + ": their content is not signed\n";
}

} // namespace

std::string doubtText(const SignatureJudgement& judgement) {
    const bool isMerelyUnknown = judgement.voucher == Voucher::Untrusted && judgement.doubt.empty();
    return isMerelyUnknown ? "no certificate is trusted without --trust or --system-trust" : judgement.doubt;
}

std::string objectionText(const opc::model::Objection& objection) {
    const bool isOther = objection.kind == opc::model::ObjectionKind::OtherSigner;
    return isOther ? "the signer is not one that --signer names" : objection.text;
}

std::string toText(const VerifyReport& report, bool explain) {
    std::string text;
    for (const SignatureJudgement& verdict : report.judgement.signatures)
        text += toText(verdict, report, explain);
    text += externalText(report.judgement.coverage);
    if (!report.judgement.problem.empty())
        text += escaped(report.judgement.problem) + '\n';
    return text + otherKinds(report) + verdictText(report) + '\n';
}

} // namespace opcraft
