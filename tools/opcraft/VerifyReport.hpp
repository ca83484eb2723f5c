// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/SignatureEntry.hpp"

#include <opc/core/ErrorPlace.hpp>
#include <opc/signatures/VerificationReport.hpp>

#include <cstddef>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace opcraft {

/// Who vouches for the key of a signature.
enum class Voucher {
    Nobody,    ///< a bare key in the signature, or an unknown key since the signature value does not hold
    Untrusted, ///< a certificate without a trusted issuer, or one that is not for signatures
    Trusted,   ///< a certificate with a trusted issuer
    GivenKey,  ///< the public key that the user gave
};

/// What every signature has to cover by itself.
enum class RequiredCoverage {
    Content,
    All,
    Any, ///< nothing in particular
};

/// A relationship by its source, "/" for the package, and its ID.
using RelationshipName = std::pair<std::string, std::string>;

/// What a signature covers of the package: how much, and what not by name.
struct CoverageEntry {
    bool isComplete = false;
    std::size_t parts = 0;
    std::size_t relationships = 0;
    std::set<std::string> uncoveredParts{};
    std::set<RelationshipName> uncoveredRelationships{};
    std::vector<std::string> otherItems{};
    std::set<std::string> exceptedParts{};
    std::set<RelationshipName> exceptedRelationships{};
    std::vector<std::string> exceptedItems{};
    std::size_t externalTargets = 0;
};

CoverageEntry entryOf(const opc::model::CoverageReport& coverage);

/// The verdict on one signature.
struct SignatureVerdict {
    SignatureEntry entry;
    opc::model::SignatureReport report;
    std::string problem{}; ///< the first reason why the signature does not hold; empty when it holds
    Voucher voucher = Voucher::Nobody;
    std::string doubt{};                              ///< why a certificate is not trusted; may be empty
    std::optional<int> certificateStatus{};           ///< OpenSSL's code; none when no certificate was checked
    opc::certificates::X509Certificate trustAnchor{}; ///< the trusted certificate that the chain ends at; may be empty
    std::vector<std::string> weak{};                  ///< weak algorithms, by name
    /// What of `--signer` and `--min-digest` is not met.
    std::vector<std::string> objections{};
    CoverageEntry coverage{};
    std::vector<std::string> signatures{}; ///< names of the signatures that a countersignature covers
};

/// The verdict on all signatures. The first one that applies counts.
enum class Verdict {
    Unreadable, ///< the signatures cannot be read, or name parts that do not exist
    Invalid,    ///< a signature does not hold, nobody vouches for it, or it is not what was asked for
    Unchecked,  ///< there are only signatures of a kind that is not verified
    Unsigned,
    Incomplete, ///< a signature does not cover by itself what is required
    Valid,
};

struct VerifyReport {
    std::string file;
    Verdict verdict = Verdict::Unsigned;
    bool allowsUntrusted = false;
    bool namesSigners = false;        ///< since whoever has a certificate of the system's authorities is trusted
    bool showsValidationTime = false; ///< since another time than now was asked for
    RequiredCoverage required = RequiredCoverage::Content;
    std::string problem{};                          ///< why the signatures cannot be read; empty when they can
    std::shared_ptr<const opc::ErrorPlace> place{}; ///< then: where the error is, as far as it is known
    std::vector<SignatureVerdict> signatures{};
    CoverageEntry coverage{}; ///< what each signature covers by itself, countersignatures left out
    std::set<std::string> pkcs7{};
    std::set<std::string> loose{}; ///< parts that look like signatures, but are not related to the package as such
};

/// What is required of a signature and its signer.
struct VerifyPolicy {
    bool isTrusting = false;      ///< the user named trusted certificates
    bool allowsUntrusted = false; ///< anybody may have signed
    RequiredCoverage coverage = RequiredCoverage::Content;
    /// Subjects of certificates, and fingerprints of certificates or keys; empty: any.
    std::vector<std::string> signers{};
    std::optional<opc::model::DigestMethod> weakestDigest{};
    std::vector<unsigned char> publicKey{}; ///< the only key that counts, in DER; empty: those of the signatures
};

/// The verdicts on the signatures of a package, without their coverage.
std::vector<SignatureVerdict> judge(const opc::model::DigitalSignatureManager& manager,
                                    const std::vector<opc::model::SignatureReport>& reports,
                                    const VerifyPolicy& policy);

/// Finds out which signatures cover others.
void relateSignatures(std::vector<SignatureVerdict>& verdicts);

/// What each of the signatures covers by itself; countersignatures cover no content.
CoverageEntry commonCoverage(const std::vector<SignatureVerdict>& verdicts);

/// What a reference covers, in words: "the relationships of /word/document.xml".
std::string subjectOf(const opc::model::ReferenceReport& reference);

/// In few words: "/word/document.xml was changed".
std::string describeProblem(const opc::model::ReferenceReport& reference);

/// The verdict on all signatures that follows from the rest of the report.
Verdict judge(const VerifyReport& report, const VerifyPolicy& policy);

/// @param explain true: with every reference, and all names.
std::string toText(const VerifyReport& report, bool explain);
Json toJson(const VerifyReport& report);

} // namespace opcraft
