// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/CoverageEntry.hpp"
#include "opcraft/SignatureCheck.hpp"
#include "opcraft/SignatureEntry.hpp"

#include <opc/core/ErrorPlace.hpp>

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace opcraft {

/// Who vouches for the key of a signature.
enum class Voucher {
    Nobody,    ///< a bare key in the signature, or it is not known since the signature value does not hold
    Untrusted, ///< a certificate that nobody who is trusted stands behind, or that is not good for signatures
    Trusted,   ///< a certificate that somebody who is trusted stands behind
    GivenKey,  ///< it is the key that the user gave
};

/// What every signature has to cover by itself.
enum class RequiredCoverage {
    Content,
    All,
    Any, ///< nothing in particular
};

/// The verdict on one signature.
struct SignatureVerdict {
    SignatureEntry entry;
    bool valueHolds = false;
    bool holds = false;
    std::string problem{};    ///< what keeps it from holding, the first thing that changed; empty when it holds
    std::size_t problems = 0; ///< references that do not hold
    Voucher voucher = Voucher::Nobody;
    std::string doubt{};                           ///< why a certificate is not trusted; empty when there is none
    std::optional<int> certificateStatus{};        ///< OpenSSL's code; none when no certificate was checked
    std::optional<CertificateEntry> trustAnchor{}; ///< the trusted certificate that stands behind that of the signer
    bool certificateCovered = false;
    std::vector<std::string> weak{};             ///< weak algorithms, by name
    std::vector<std::string> uncoveredObjects{}; ///< Ids of objects in the signature itself that it does not cover
    CoverageEntry coverage{};
    std::vector<std::string> signatures{}; ///< names of the signatures that it covers, as a countersignature does
    std::vector<opc::model::ReferenceReport> references{};
};

/// The verdict on the whole. Its order is that of importance: the first that applies counts.
enum class Verdict {
    Unreadable, ///< the signatures cannot be read, or name what is not there
    Invalid,    ///< a signature does not hold, or nobody vouches for it
    Unchecked,  ///< there are signatures of a kind that is not checked
    Unsigned,
    Incomplete, ///< a signature does not cover by itself what it has to
    Valid,
};

struct VerifyReport {
    std::string file;
    Verdict verdict = Verdict::Unsigned;
    bool allowsUntrusted = false;
    bool namesSigners = false; ///< so many are trusted that it matters who signed
    RequiredCoverage required = RequiredCoverage::Content;
    std::string problem{};                          ///< of the whole: why the signatures cannot be read
    std::shared_ptr<const opc::ErrorPlace> place{}; ///< then: where the fault lies, as far as it is known
    std::vector<SignatureVerdict> signatures{};
    CoverageEntry coverage{};         ///< what each of them covers by itself, but for the countersignature
    std::set<std::string> standard{}; ///< parts with signatures in the standard's form
    std::set<std::string> pkcs7{};
    std::set<std::string> loose{}; ///< parts that look like signatures, but are not tied to the package
};

/// What is asked of a signer.
struct VerifyPolicy {
    bool isTrusting = false;      ///< somebody is trusted
    bool allowsUntrusted = false; ///< it does not matter who signed
    RequiredCoverage coverage = RequiredCoverage::Content;
};

/// The verdict on one signature, but for the coverage.
SignatureVerdict judge(const CheckedSignature& checked, const VerifyPolicy& policy);

/// Finds out which signatures cover others.
void relateSignatures(std::vector<SignatureVerdict>& verdicts);

/// What each of the signatures covers by itself; countersignatures cover no content.
CoverageEntry commonCoverage(const std::vector<SignatureVerdict>& verdicts);

/// In few words: "/word/document.xml was changed".
std::string describeProblem(const opc::model::ReferenceReport& reference);

/// The verdict on the whole that follows from the rest of the report.
Verdict judge(const VerifyReport& report, const VerifyPolicy& policy);

/// @param explain true: with every reference, and without a bound on what is named.
std::string toText(const VerifyReport& report, bool explain);
nlohmann::ordered_json toJson(const VerifyReport& report);

} // namespace opcraft
