// SPDX-License-Identifier: Apache-2.0
// What `verify` prints for programs.
#include "opcraft/Text.hpp"
#include "opcraft/Tool.hpp"
#include "opcraft/VerifyReport.hpp"

namespace opcraft {

namespace {

using nlohmann::ordered_json;
using opc::model::ReferenceKind;
using opc::model::ReferenceReport;
using opc::model::ReferenceVerdict;
using opc::model::RelationshipSelector;
using opc::model::RelationshipSelectorType;

ordered_json textOrNull(const std::string& text) {
    return text.empty() ? ordered_json() : ordered_json(text);
}

ordered_json textOrNull(const std::u16string& text) {
    return textOrNull(toUtf8(text));
}

const char* nameOf(Verdict verdict) {
    switch (verdict) {
    case Verdict::Unreadable:
        return "unreadable";
    case Verdict::Invalid:
        return "invalid";
    case Verdict::Unchecked:
        return "unchecked";
    case Verdict::Unsigned:
        return "unsigned";
    case Verdict::Incomplete:
        return "incomplete";
    case Verdict::Valid:
        break;
    }
    return "valid";
}

const char* nameOf(RequiredCoverage required) {
    return required == RequiredCoverage::Content ? "content" : (required == RequiredCoverage::All ? "all" : "any");
}

const char* nameOf(Voucher voucher) {
    switch (voucher) {
    case Voucher::Nobody:
        return "nobody";
    case Voucher::Untrusted:
        return "untrustedCertificate";
    case Voucher::Trusted:
        return "trustedCertificate";
    case Voucher::GivenKey:
        break;
    }
    return "givenKey";
}

const char* nameOf(ReferenceKind kind) {
    return kind == ReferenceKind::Object ? "object" : (kind == ReferenceKind::Part ? "part" : "relationships");
}

const char* nameOf(ReferenceVerdict verdict) {
    switch (verdict) {
    case ReferenceVerdict::Holds:
        return "holds";
    case ReferenceVerdict::DigestDiffers:
        return "digestDiffers";
    case ReferenceVerdict::ContentTypeDiffers:
        return "contentTypeDiffers";
    case ReferenceVerdict::Missing:
        return "missing";
    case ReferenceVerdict::NotSupported:
        return "notSupported";
    case ReferenceVerdict::Misnamed:
        return "misnamed";
    case ReferenceVerdict::NotReadable:
        break;
    }
    return "notReadable";
}

ordered_json toJson(const RelationshipSelector& selector) {
    const bool isById = selector.getSelectorType() == RelationshipSelectorType::ById;
    return {{isById ? "id" : "type", toUtf8(selector.getSelectionCriteria())}};
}

ordered_json toJson(const ReferenceReport& reference) {
    ordered_json json;
    json["kind"] = nameOf(reference.kind);
    json["target"] = toUtf8(reference.target);
    json["verdict"] = nameOf(reference.verdict);
    json["problem"] = textOrNull(reference.problem);
    json["signedContentType"] = textOrNull(reference.claimedContentType);
    json["contentType"] = textOrNull(reference.foundContentType);
    json["digestMethod"] = toUtf8(reference.digestMethod);
    json["signedDigest"] = toUtf8(reference.claimedDigest);
    json["digest"] = textOrNull(reference.foundDigest);
    json["transforms"] = ordered_json::array();
    for (const std::u16string& transform : reference.transforms)
        json["transforms"].push_back(toUtf8(transform));
    json["selectors"] = ordered_json::array();
    for (const RelationshipSelector& selector : reference.selectors)
        json["selectors"].push_back(toJson(selector));
    json["relationships"] = ordered_json::array();
    for (const opc::model::Relationship& relationship : reference.relationships)
        json["relationships"].push_back(toUtf8(relationship.getID()));
    return json;
}

ordered_json toJson(const std::shared_ptr<const opc::ErrorPlace>& place) {
    if (!place || place->item.empty())
        return {};
    ordered_json json;
    json["part"] = place->item;
    json["line"] = place->line == 0 ? ordered_json() : ordered_json(place->line);
    json["column"] = place->line == 0 ? ordered_json() : ordered_json(place->column);
    json["element"] = textOrNull(place->element);
    json["attribute"] = textOrNull(place->attribute);
    json["value"] = textOrNull(place->value);
    return json;
}

ordered_json toJson(const SignatureVerdict& verdict) {
    ordered_json json = toJson(verdict.entry);
    json["weak"] = verdict.weak;
    json["holds"] = verdict.holds;
    json["valueHolds"] = verdict.valueHolds;
    json["problem"] = textOrNull(verdict.problem);
    json["vouchedForBy"] = nameOf(verdict.voucher);
    json["doubt"] = textOrNull(verdict.doubt);
    json["certificateStatus"] = verdict.certificateStatus ? ordered_json(*verdict.certificateStatus) : ordered_json();
    json["certificateCovered"] = verdict.entry.certificate ? ordered_json(verdict.certificateCovered) : ordered_json();
    json["trustAnchor"] = toJson(verdict.trustAnchor);
    json["coverage"] = toJson(verdict.coverage);
    json["uncoveredObjects"] = verdict.uncoveredObjects;
    json["signatures"] = verdict.signatures;
    json["references"] = ordered_json::array();
    for (const ReferenceReport& reference : verdict.references)
        json["references"].push_back(toJson(reference));
    return json;
}

} // namespace

ordered_json toJson(const VerifyReport& report) {
    ordered_json json = makeJsonReport("verify", report.file);
    json["verdict"] = nameOf(report.verdict);
    json["problem"] = textOrNull(report.problem);
    json["requiredCoverage"] = nameOf(report.required);
    json["unreadable"] = toJson(report.place);
    json["signatures"] = ordered_json::array();
    for (const SignatureVerdict& verdict : report.signatures)
        json["signatures"].push_back(toJson(verdict));
    json["coverage"] = report.signatures.empty() ? ordered_json() : toJson(report.coverage);
    json["standard"] = report.standard;
    json["pkcs7"] = report.pkcs7;
    json["loose"] = report.loose;
    return json;
}

} // namespace opcraft
