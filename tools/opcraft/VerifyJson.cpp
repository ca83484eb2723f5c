// SPDX-License-Identifier: Apache-2.0
// The JSON report of `verify`.
#include "opcraft/SignatureText.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/VerifyReport.hpp"

#include <algorithm>

namespace opcraft {

namespace {

using opc::model::CoverageSummary;
using opc::model::ReferenceReport;
using opc::model::RelationshipName;
using opc::model::RelationshipSelector;
using opc::model::RelationshipSelectorType;
using opc::model::SignatureJudgement;

/// The name of an enumerator.
/// @param names in the order of the enumeration.
template <class Enum, std::size_t COUNT>
const char* nameOf(Enum value, const char* const (&names)[COUNT]) {
    return names[std::min(static_cast<std::size_t>(value), COUNT - 1)];
}

constexpr const char* VERDICT_NAMES[] = {"unreadable", "invalid", "unchecked", "unsigned", "incomplete", "valid"};
constexpr const char* COVERAGE_NAMES[] = {"content", "all", "any"};
constexpr const char* VOUCHER_NAMES[] = {"nobody", "untrustedCertificate", "trustedCertificate", "givenKey"};
constexpr const char* KIND_NAMES[] = {"object", "part", "relationships"};
constexpr const char* CLAIM_NAMES[] = {"none", "holds", "differs", "notSupported"};
constexpr const char* READING_NAMES[] = {"asStandard", "defaultMode", "whiteSpace"};
constexpr const char* REFERENCE_NAMES[] = {
    "holds", "digestDiffers", "contentTypeDiffers", "missing", "notSupported", "notReadable", "misnamed"};

Json utf16OrNull(const std::u16string& text) {
    return textOrNull(toUtf8(text));
}

Json selectorJson(const RelationshipSelector& selector) {
    const bool isById = selector.getSelectorType() == RelationshipSelectorType::ById;
    return {{isById ? "id" : "type", toUtf8(selector.getSelectionCriteria())}};
}

Json toJson(const ReferenceReport& reference) {
    return {{"kind", nameOf(reference.kind, KIND_NAMES)},
            {"target", toUtf8(reference.target)},
            {"verdict", nameOf(reference.verdict, REFERENCE_NAMES)},
            {"problem", textOrNull(reference.problem)},
            {"remark", textOrNull(reference.remark)},
            {"reading", nameOf(reference.reading, READING_NAMES)},
            {"signedContentType", utf16OrNull(reference.claimedContentType)},
            {"contentType", utf16OrNull(reference.foundContentType)},
            {"digestMethod", toUtf8(reference.digestMethod)},
            {"signedDigest", toUtf8(reference.claimedDigest)},
            {"digest", utf16OrNull(reference.foundDigest)},
            {"transforms", toJsonArray(reference.transforms, toUtf8)},
            {"selectors", toJsonArray(reference.selectors, selectorJson)},
            {"relationships",
             toJsonArray(
                 reference.relationships, [](const opc::model::Relationship& each) { return toUtf8(each.getID()); })}};
}

Json toJson(const std::shared_ptr<const opc::ErrorPlace>& place) {
    if (!place || place->item.empty())
        return {};
    return {{"part", place->item},
            {"line", place->line == 0 ? Json() : Json(place->line)},
            {"column", place->line == 0 ? Json() : Json(place->column)},
            {"element", textOrNull(place->element)},
            {"attribute", textOrNull(place->attribute)},
            {"value", textOrNull(place->value)}};
}

Json toJson(const std::set<RelationshipName>& names) {
    return toJsonArray(
        names,
        [](const RelationshipName& name) {
            return Json{{"source", name.first}, {"id", name.second}};
        });
}

Json toJson(const CoverageSummary& coverage) {
    return {{"complete", coverage.isComplete},
            {"parts", coverage.coveredParts.size()},
            {"relationships", coverage.coveredRelationships.size()},
            {"uncoveredParts", coverage.uncoveredParts},
            {"uncoveredRelationships", toJson(coverage.uncoveredRelationships)},
            {"otherItems", coverage.otherItems},
            {"exceptedParts", coverage.exceptedParts},
            {"exceptedRelationships", toJson(coverage.exceptedRelationships)},
            {"exceptedItems", coverage.exceptedItems},
            {"externalTargets", coverage.externalTargets}};
}

Json toJson(const opc::model::TimeStampReport& stamp) {
    return {{"time", textOrNull(timeText(stamp.time))},
            {"authority", textOrNull(stamp.authority)},
            {"digestMethod", utf16OrNull(stamp.digestMethod)},
            {"holds", stamp.holds},
            {"trusted", stamp.isTrusted},
            {"problem", textOrNull(stamp.problem)}};
}

Json toJson(const SignatureJudgement& verdict) {
    const opc::model::SignatureReport& report = verdict.report;
    const bool hasCertificate = !verdict.summary.certificate.isEmpty();
    Json json = opcraft::toJson(verdict.summary);
    json["weak"] = verdict.weak;
    json["holds"] = report.isSignatureValid();
    json["valueHolds"] = report.signatureValueHolds;
    json["problem"] = textOrNull(verdict.problem);
    json["vouchedForBy"] = nameOf(verdict.voucher, VOUCHER_NAMES);
    json["doubt"] = textOrNull(doubtText(verdict));
    json["certificateStatus"] = verdict.certificateStatus ? Json(*verdict.certificateStatus) : Json();
    json["certificateCovered"] = hasCertificate ? Json(report.certificateCovered) : Json();
    json["certificateClaim"] = nameOf(report.certificateClaim, CLAIM_NAMES);
    json["validationTime"] = textOrNull(timeText(report.validationTime));
    json["timeStamps"] =
        toJsonArray(report.timeStamps, [](const opc::model::TimeStampReport& each) { return toJson(each); });
    json["objections"] = toJsonArray(verdict.objections, objectionText);
    json["trustAnchor"] = opcraft::toJson(verdict.trustAnchor);
    json["coverage"] = toJson(verdict.coverage);
    json["uncoveredObjects"] = toJsonArray(report.uncoveredObjects, toUtf8);
    json["signatures"] = verdict.signatures;
    json["references"] = toJsonArray(report.references, [](const ReferenceReport& each) { return toJson(each); });
    return json;
}

} // namespace

Json toJson(const VerifyReport& report) {
    Json json = makeJsonReport("verify", report.file);
    json["verdict"] = nameOf(report.judgement.verdict, VERDICT_NAMES);
    json["problem"] = textOrNull(report.judgement.problem);
    json["requiredCoverage"] = nameOf(report.required, COVERAGE_NAMES);
    json["unreadable"] = toJson(report.judgement.place);
    json["signatures"] =
        toJsonArray(report.judgement.signatures, [](const SignatureJudgement& each) { return toJson(each); });
    json["coverage"] = report.judgement.signatures.empty() ? Json() : toJson(report.judgement.coverage);
    json["standard"] = Json::array(); // they are among the signatures
    json["pkcs7"] = report.judgement.unchecked;
    json["loose"] = report.judgement.loose;
    return json;
}

} // namespace opcraft
