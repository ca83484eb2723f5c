// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/ErrorPlace.hpp>
#include <opc/core/Export.hpp>
#include <opc/core/Limits.hpp>
#include <opc/signatures/CoverageSummary.hpp>
#include <opc/signatures/DigestMethod.hpp>
#include <opc/signatures/SignatureSummary.hpp>
#include <opc/signatures/VerificationOptions.hpp>
#include <opc/signatures/VerificationReport.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace opc::interfaces {
class IPhysicalPackage;
}

namespace opc::model {

class DigitalSignatureManager;

/// What every signature has to cover by itself.
enum class RequiredCoverage : std::int32_t {
    Content, ///< `CoverageScope::Content`
    All,     ///< `CoverageScope::All`
    Any,     ///< nothing in particular
};

/// What is required of the signatures of a package and of their signers. A value without invariants.
struct JudgementOptions {
    /// Certificates vouch for nobody unless `verification.validation` checks chains; with the default options whoever
    /// has a certificate of an authority of the system is trusted.
    VerificationOptions verification{};

    bool allowsUntrusted = false; ///< anybody may have signed
    RequiredCoverage coverage = RequiredCoverage::Content;

    /// Who may have signed, UTF-8: subjects of trusted certificates as `X509Certificate::getSubject` gives them, and
    /// fingerprints (`getFingerprint`, also in upper case and with colons) of certificates or keys. Empty: anybody who
    /// is trusted. An empty text is nobody. Countersignatures may be of others.
    std::vector<std::string> signers{};

    std::optional<DigestMethod> weakestDigest{}; ///< none: every digest is accepted; those of time stamps always are
};

/// Who vouches for the key of a signature.
enum class Voucher : std::int32_t {
    Nobody,    ///< a bare key in the signature, or an unknown key since the signature value is not valid
    Untrusted, ///< a certificate without a trusted issuer, or one that is not for signatures
    Trusted,   ///< a certificate with a trusted issuer
    GivenKey,  ///< `VerificationOptions::publicKey`
};

enum class ObjectionKind : std::int32_t {
    OtherSigner, ///< not one of `JudgementOptions::signers`
    WeakDigest,  ///< one that is weaker than `JudgementOptions::weakestDigest`
    SignsNothing ///< a countersignature that covers no signature: by its name it would pass as one, whoever made it
};

/// Why a signature that may hold is not accepted.
struct Objection {
    ObjectionKind kind = ObjectionKind::OtherSigner;
    std::string text{}; ///< "SHA-1 is weaker than SHA-256"
};

/// The verdict on one signature. All texts are UTF-8.
struct SignatureJudgement {
    SignatureSummary summary; ///< with `VerificationOptions::publicKey` that key is shown, and no certificate
    SignatureReport report;
    std::string problem{}; ///< the first reason why the signature does not hold; empty when it holds
    Voucher voucher = Voucher::Nobody;
    /// Why a certificate is not trusted; empty when there is no other reason than that no certificate is.
    std::string doubt{};
    std::optional<int> certificateStatus{};      ///< OpenSSL's code; none when no certificate was checked
    certificates::X509Certificate trustAnchor{}; ///< the trusted certificate that the chain ends at; may be empty
    std::vector<std::string> weak{};             ///< weak algorithms of value and references, by name
    std::vector<Objection> objections{};
    CoverageSummary coverage{};
    std::vector<std::string> signatures{}; ///< names of the signatures that a countersignature covers

    /// Whether the signature holds, is accepted, and is vouched for unless anybody may have signed.
    OPCRAFT_API bool isFine(const JudgementOptions& options) const noexcept;
};

/// The verdict on all signatures of a package. The first one that applies counts.
enum class Verdict : std::int32_t {
    Unreadable, ///< the signatures cannot be read, or name parts that do not exist
    Invalid,    ///< a signature does not hold, nobody vouches for it, or it is not what is required
    Unchecked,  ///< there are only signatures of a kind that is not verified (`FoundSignatures::pkcs7`)
    Unsigned,
    Incomplete, ///< a signature does not cover by itself what is required
    Valid,
};

struct PackageJudgement {
    Verdict verdict = Verdict::Unsigned;
    std::string problem{};                     ///< why the signatures cannot be read; empty when they can
    std::shared_ptr<const ErrorPlace> place{}; ///< then: where the error is; null when it is not known
    std::vector<SignatureJudgement> signatures{};
    CoverageSummary coverage{};        ///< what each signature covers by itself, countersignatures left out
    std::set<std::string> unchecked{}; ///< items with PKCS#7 signatures, as in `FoundSignatures`
    /// Parts that look like signatures, but are not related to the package as such.
    std::set<std::string> loose{};
};

/// What a reference covers, in words: "the relationships of /word/document.xml".
OPCRAFT_API std::string describeTarget(const ReferenceReport& reference);

/// In few words: "/word/document.xml was changed"; empty when the reference is valid.
OPCRAFT_API std::string describeProblem(const ReferenceReport& reference);

/// Verifies all signatures of an open package, and judges them.
/// @param store that the package is stored in; items that are not parts are known where it implements
///        `interfaces::IPhysicalOtherItems`. It should be open so that no item can be read in two ways
///        (`storage::ZipOptions::consistent`): what other programs read may otherwise not be what is verified.
/// @throws InvalidSignature as `DigitalSignatureManager::examineAllSignatures` and `examineCoverage`.
/// @throws PackageNotOpen
OPCRAFT_API PackageJudgement judgeSignatures(const DigitalSignatureManager& manager,
                                             const interfaces::IPhysicalPackage& store,
                                             const JudgementOptions& options);

/// Opens a package for reading, judges its signatures, of all forms, and closes it. Signatures that keep the package
/// from opening are a verdict.
/// @param store not open, and best consistent, as above.
/// @param limits those for XML count; those of items are the store's.
/// @throws opc::Exception as `Package::open`, but for `InvalidSignature`, and as above.
OPCRAFT_API PackageJudgement verifyPackage(interfaces::IPhysicalPackage& store, const JudgementOptions& options,
                                           const Limits& limits = {});

} // namespace opc::model
