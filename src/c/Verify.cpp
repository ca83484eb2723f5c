// SPDX-License-Identifier: Apache-2.0
#include "c/Keys.hpp"
#include "c/Options.hpp"
#include "c/Results.hpp"
#include "c/Store.hpp"

#include <opc/certificates/X509CertificateChain.hpp>
#include <opc/core/Time.hpp>
#include <opc/crypto/PublicKey.hpp>
#include <opc/signatures/Judgement.hpp>

namespace opc::c {

namespace {

using certificates::X509Certificate;
using certificates::X509CertificateChain;
using model::CoverageSummary;
using model::JudgementOptions;
using model::PackageJudgement;
using model::ReferenceReport;
using model::SignatureJudgement;

#define OPCRAFT_SAME_VERDICT(Name, NAME) static_assert(static_cast<int>(model::Name) == OPCRAFT_##NAME)
OPCRAFT_SAME_VERDICT(Voucher::Nobody, VOUCHER_NOBODY);
OPCRAFT_SAME_VERDICT(Voucher::Untrusted, VOUCHER_UNTRUSTED_CERTIFICATE);
OPCRAFT_SAME_VERDICT(Voucher::Trusted, VOUCHER_TRUSTED_CERTIFICATE);
OPCRAFT_SAME_VERDICT(Voucher::GivenKey, VOUCHER_GIVEN_KEY);
OPCRAFT_SAME_VERDICT(ReferenceKind::Object, REFERENCE_OBJECT);
OPCRAFT_SAME_VERDICT(ReferenceKind::Part, REFERENCE_PART);
OPCRAFT_SAME_VERDICT(ReferenceKind::Relationships, REFERENCE_RELATIONSHIPS);
OPCRAFT_SAME_VERDICT(ReferenceVerdict::Holds, REFERENCE_HOLDS);
OPCRAFT_SAME_VERDICT(ReferenceVerdict::DigestDiffers, REFERENCE_DIGEST_DIFFERS);
OPCRAFT_SAME_VERDICT(ReferenceVerdict::ContentTypeDiffers, REFERENCE_CONTENT_TYPE_DIFFERS);
OPCRAFT_SAME_VERDICT(ReferenceVerdict::Missing, REFERENCE_MISSING);
OPCRAFT_SAME_VERDICT(ReferenceVerdict::NotSupported, REFERENCE_NOT_SUPPORTED);
OPCRAFT_SAME_VERDICT(ReferenceVerdict::NotReadable, REFERENCE_NOT_READABLE);
OPCRAFT_SAME_VERDICT(ReferenceVerdict::Misnamed, REFERENCE_MISNAMED);
OPCRAFT_SAME_VERDICT(RequiredCoverage::Content, COVERAGE_CONTENT);
OPCRAFT_SAME_VERDICT(RequiredCoverage::All, COVERAGE_ALL);
OPCRAFT_SAME_VERDICT(RequiredCoverage::Any, COVERAGE_ANY);
#undef OPCRAFT_SAME_VERDICT

opcraft_verdict toVerdict(model::Verdict verdict) {
    switch (verdict) {
    case model::Verdict::Unreadable:
        return OPCRAFT_VERDICT_UNREADABLE;
    case model::Verdict::Unchecked:
        return OPCRAFT_VERDICT_UNCHECKED;
    case model::Verdict::Unsigned:
        return OPCRAFT_VERDICT_UNSIGNED;
    case model::Verdict::Incomplete:
        return OPCRAFT_VERDICT_INCOMPLETE;
    case model::Verdict::Valid:
        return OPCRAFT_VERDICT_VALID;
    case model::Verdict::Invalid:
        break;
    }
    return OPCRAFT_VERDICT_INVALID;
}

opcraft_signature_form toForm(model::SignatureForm form) {
    if (form == model::SignatureForm::Library)
        return OPCRAFT_FORM_LIBRARY;
    return form == model::SignatureForm::Office ? OPCRAFT_FORM_OFFICE : OPCRAFT_FORM_STANDARD;
}

// ---- What is asked for

void setTime(const opcraft_verify_options& given, model::VerificationOptions& verification) {
    if ((given.time == OPCRAFT_TIME_GIVEN) != (given.given_time != nullptr))
        throwInvalidArgument("given_time and OPCRAFT_TIME_GIVEN need each other");
    switch (given.time) {
    case OPCRAFT_TIME_NOW:
        return;
    case OPCRAFT_TIME_GIVEN: {
        const auto time = convertStringToTime(toString(given.given_time, false));
        if (time.is_special())
            throwInvalidArgument("given_time is not a time");
        return verification.validation.setPointInTime(time);
    }
    case OPCRAFT_TIME_SIGNED:
        verification.time = model::ValidationTime::Signed;
        return;
    case OPCRAFT_TIME_STAMPED:
        verification.time = model::ValidationTime::Stamped;
        return;
    }
    throwInvalidArgument("time is no opcraft_validation_time");
}

void setTrust(const opcraft_verify_options& given, model::VerificationOptions& verification) {
    const bool isTrusting = given.trust != nullptr || given.system_trust;
    if (given.public_key != nullptr && (isTrusting || given.signer_count != 0))
        throwInvalidArgument("public_key excludes trust, system_trust and signers");
    verification.validation.setCheckChain(isTrusting); // an empty store would stand for that of the system
    if (given.trust != nullptr)
        verification.trust.addCertificates(
            readBytes(given.trust, given.trust_length, "trust", X509CertificateChain::fromPEMOrDER));
    if (given.system_trust)
        verification.trust.addSystemCertificates();
    if (given.public_key != nullptr)
        verification.publicKey =
            readBytes(given.public_key, given.public_key_length, "public_key", crypto::PublicKey::fromPEMOrDER).toDER();
}

JudgementOptions toOptions(const opcraft_verify_options& given) {
    JudgementOptions options;
    setTrust(given, options.verification);
    setTime(given, options.verification);
    options.verification.strict = given.strict;
    options.allowsUntrusted = given.allow_untrusted;
    for (std::size_t i = 0; i < given.signer_count; ++i)
        if (options.signers.emplace_back(elementOf(given.signers, i, "signers")).empty())
            throwInvalidArgument("signers has an empty name");
    options.weakestDigest = toDigestMethod(given.weakest_digest, "weakest_digest");
    if (given.coverage < OPCRAFT_COVERAGE_CONTENT || given.coverage > OPCRAFT_COVERAGE_ANY)
        throwInvalidArgument("coverage is no opcraft_coverage");
    options.coverage = static_cast<model::RequiredCoverage>(given.coverage);
    return options;
}

// ---- What is found

const char* keepTime(Pool& pool, const boost::posix_time::ptime& time) {
    return time.is_special() ? nullptr : pool.keep(convertTimeToString(time));
}

const opcraft_certificate* keepCertificate(Pool& pool, const X509Certificate& certificate) {
    if (certificate.isEmpty())
        return nullptr;
    auto* entry = pool.make<opcraft_certificate>();
    entry->subject = pool.keep(std::string_view(certificate.getSubject()));
    entry->issuer = pool.keep(std::string_view(certificate.getIssuer()));
    entry->serial_number = pool.keep(std::string_view(certificate.getSerialNumber()));
    entry->not_before = keepTime(pool, certificate.getNotBefore());
    entry->not_after = keepTime(pool, certificate.getNotAfter());
    entry->key_size = certificate.getKeySize();
    entry->der = pool.keepBytes(certificate.toDER());
    entry->der_length = certificate.toDER().size();
    return entry;
}

void fillReference(opcraft_reference& entry, Pool& pool, const ReferenceReport& reference) {
    entry.kind = static_cast<opcraft_reference_kind>(reference.kind);
    entry.target = pool.keep(reference.target);
    entry.verdict = static_cast<opcraft_reference_verdict>(reference.verdict);
    entry.problem = pool.keepOrNull(reference.problem);
    entry.remark = pool.keepOrNull(reference.remark);
    entry.signed_content_type = pool.keepOrNull(reference.claimedContentType);
    entry.content_type = pool.keepOrNull(reference.foundContentType);
    entry.digest_method = pool.keep(reference.digestMethod);
    entry.signed_digest = pool.keep(reference.claimedDigest);
    entry.digest = pool.keepOrNull(reference.foundDigest);
    std::vector<std::u16string> ids;
    for (const model::Relationship& each : reference.relationships)
        ids.push_back(each.getID());
    entry.relationships = pool.texts(ids, entry.relationship_count);
}

void fillTimeStamp(opcraft_time_stamp& entry, Pool& pool, const model::TimeStampReport& stamp) {
    entry.time = keepTime(pool, stamp.time);
    entry.authority = pool.keepOrNull(stamp.authority);
    entry.holds = stamp.holds;
    entry.trusted = stamp.isTrusted;
    entry.problem = pool.keepOrNull(stamp.problem);
}

std::vector<std::string> textsOf(const std::set<model::RelationshipName>& names) {
    std::vector<std::string> texts;
    for (const auto& [source, id] : names)
        texts.push_back(source + '#' + id);
    return texts;
}

void fillCoverage(opcraft_signature& entry, Pool& pool, const CoverageSummary& coverage) {
    entry.complete = coverage.isComplete;
    entry.covered_parts = pool.texts(coverage.coveredParts, entry.covered_part_count);
    entry.uncovered_parts = pool.texts(coverage.uncoveredParts, entry.uncovered_part_count);
    entry.uncovered_relationships =
        pool.texts(textsOf(coverage.uncoveredRelationships), entry.uncovered_relationship_count);
    entry.uncovered_items = pool.texts(coverage.otherItems, entry.uncovered_item_count);
    std::vector<std::string> excepted(coverage.exceptedParts.begin(), coverage.exceptedParts.end());
    for (std::string& name : textsOf(coverage.exceptedRelationships))
        excepted.push_back(std::move(name));
    excepted.insert(excepted.end(), coverage.exceptedItems.begin(), coverage.exceptedItems.end());
    entry.excepted = pool.texts(excepted, entry.excepted_count);
}

void fillSigner(opcraft_signature& entry, Pool& pool, const SignatureJudgement& judgement) {
    const X509Certificate& certificate = judgement.summary.certificate;
    entry.voucher = static_cast<opcraft_voucher>(judgement.voucher);
    entry.doubt = pool.keepOrNull(judgement.doubt);
    if (entry.voucher == OPCRAFT_VOUCHER_UNTRUSTED_CERTIFICATE && entry.doubt == nullptr)
        entry.doubt = "no certificate is trusted without trust or system_trust";
    if (!certificate.isEmpty())
        entry.subject = pool.keep(std::string_view(certificate.getSubject()));
    entry.key_fingerprint = pool.keepOrNull(judgement.summary.fingerprint);
    entry.algorithm = pool.keepOrNull(judgement.summary.algorithm.identifier);
    entry.key_size = judgement.summary.algorithm.keySize;
    entry.time = pool.keepOrNull(judgement.summary.time);
    entry.validation_time = keepTime(pool, judgement.report.validationTime);
    entry.certificate = keepCertificate(pool, certificate);
    entry.trust_anchor = keepCertificate(pool, judgement.trustAnchor);
}

void fillSignature(opcraft_signature& entry, Pool& pool, const SignatureJudgement& judgement) {
    entry.name = pool.keep(std::string_view(judgement.summary.name));
    entry.part = pool.keep(std::string_view(judgement.summary.part));
    entry.form = toForm(judgement.summary.form);
    entry.countersignature = judgement.summary.isCountersignature;
    entry.holds = judgement.report.isSignatureValid();
    entry.problem = pool.keepOrNull(judgement.problem);
    fillSigner(entry, pool, judgement);
    std::vector<std::string> objections;
    for (const model::Objection& each : judgement.objections)
        objections.push_back(each.text);
    entry.objections = pool.texts(objections, entry.objection_count);
    entry.weak = pool.texts(judgement.weak, entry.weak_count);
    entry.time_stamps = pool.structures<opcraft_time_stamp>(
        judgement.report.timeStamps, entry.time_stamp_count,
        [&](opcraft_time_stamp& stamp, const model::TimeStampReport& of) { fillTimeStamp(stamp, pool, of); });
    fillCoverage(entry, pool, judgement.coverage);
    entry.references = pool.structures<opcraft_reference>(
        judgement.report.references, entry.reference_count,
        [&](opcraft_reference& reference, const ReferenceReport& of) { fillReference(reference, pool, of); });
}

opcraft_verification* makeVerification(const PackageJudgement& judgement) {
    auto result = makeResult<opcraft_verification>();
    Pool& pool = result->pool;
    result->verdict = toVerdict(judgement.verdict);
    result->problem = pool.keepOrNull(judgement.problem);
    result->signatures = pool.structures<opcraft_signature>(
        judgement.signatures, result->signature_count,
        [&](opcraft_signature& entry, const SignatureJudgement& of) { fillSignature(entry, pool, of); });
    result->loose = pool.texts(judgement.loose, result->loose_count);
    result->unchecked = pool.texts(judgement.unchecked, result->unchecked_count);
    result->external_targets = judgement.coverage.externalTargets;
    return result.release();
}

} // namespace

} // namespace opc::c

using namespace opc::c;

opcraft_verification* opcraft_verify(opcraft_store* store, const opcraft_verify_options* options,
                                     opcraft_error** error) {
    return guarded(
        error, static_cast<opcraft_verification*>(nullptr),
        [&] {
            const auto how = toOptions(read(options, "options"));
            const StoreUse use(required(store, "store"), opc::interfaces::OpenMode::ReadOnly, true);
            return makeVerification(reportByStore(
                *store, [&] { return verifyPackage(*use, how, use.getLimits()); }));
        });
}

void opcraft_verification_free(opcraft_verification* verification) {
    freeResult(verification);
}
