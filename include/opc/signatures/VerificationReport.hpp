// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/CertificateValidationResults.hpp>
#include <opc/core/Export.hpp>
#include <opc/signatures/CoverageReport.hpp>
#include <opc/signatures/DigitalSignature.hpp>
#include <opc/signatures/DigitalSignatureVerificationStatus.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace opc::model {

class Package;

/// The kind of target of a reference.
enum class ReferenceKind : std::int32_t {
    Object,        ///< an object of the signature; from `SignedInfo`
    Part,          ///< a part; from the manifest
    Relationships, ///< relationships of one source; from the manifest
};

/// The result of verifying a reference.
enum class ReferenceVerdict : std::int32_t {
    Holds,              ///< the target is what was signed
    DigestDiffers,      ///< the target was changed
    ContentTypeDiffers, ///< the part has another content type than when it was signed
    Missing,            ///< the target is not in the package
    NotSupported,       ///< it is unknown what is covered: no selectors, an unknown digest or transform
    NotReadable,        ///< the target cannot be read
    /// The name of the part differs in case from the signed one. For the package object: the signature has the name of
    /// the countersignature but was not signed as one, or the reverse.
    Misnamed,
};

/// How relationships were read so that their digest matches. All readings fix the same relationships.
enum class RelationshipsReading : std::int32_t {
    AsStandard,  ///< as ECMA-376-2 §10.5.13 says
    DefaultMode, ///< without the `TargetMode` of internal relationships
    WhiteSpace,  ///< with an empty `text` element in front for each white space in the part, as LibreOffice does
};

/// One reference, as signed and as found in the package.
struct ReferenceReport {
    ReferenceKind kind = ReferenceKind::Object;
    std::u16string uri{}; ///< as in the signature
    /// The part name, the source of the relationships ("/": the package), or the Id of the object.
    std::u16string target{};
    std::u16string claimedContentType{}; ///< empty for an object
    std::u16string foundContentType{};
    std::u16string digestMethod{};            ///< identifier
    std::u16string claimedDigest{};           ///< base64, as all digests here
    std::u16string foundDigest{};             ///< empty when none could be computed
    std::vector<std::u16string> transforms{}; ///< identifiers, the relationships transform among them
    std::vector<RelationshipSelector> selectors{};
    std::vector<Relationship> relationships{}; ///< selected ones, each once, sorted by ID
    RelationshipsReading reading = RelationshipsReading::AsStandard;
    ReferenceVerdict verdict = ReferenceVerdict::Holds;
    std::string problem{}; ///< the fault as text; empty when the reference is valid
    std::string remark{};  ///< what is unusual about a valid reference, or which other reading matches an invalid one

    bool holds() const noexcept { return verdict == ReferenceVerdict::Holds; }
};

/// The origin of the key that verified a signature.
enum class KeySource : std::int32_t {
    KeyValue,    ///< a bare key in the signature, which does not identify the signer
    Certificate, ///< a certificate, in the signature or of the caller
    Caller,      ///< a bare key of the caller
};

/// All results of verifying one signature. The `verify…` functions return a summary of it.
struct OPCRAFT_API SignatureReport {
    explicit SignatureReport(const DigitalSignature& of) : signature(of) {}

    DigitalSignature signature;
    KeySource keySource = KeySource::KeyValue;
    unsigned keySize = 0; ///< bits of the key that verified
    /// Whether the signature value over `SignedInfo` is valid for that key. References are not considered.
    bool signatureValueHolds = false;
    certificates::X509Certificate certificate{}; ///< empty when there is none
    certificates::X509CertificateChain certificateChain{};
    bool certificateChecked = false; ///< true only when the signature value is valid
    certificates::CertificateValidationResults certificateResults{};
    /// Whether the signature covers its certificate, by XAdES or by a reference to KeyInfo. Without that another
    /// certificate for the same key could replace it.
    bool certificateCovered = false;
    /// Those of `SignedInfo`, then those of the manifest, in document order. Empty when the signature value is not
    /// valid.
    std::vector<ReferenceReport> references{};
    /// The Ids of objects that no reference of `SignedInfo` covers: anybody can change them.
    std::vector<std::u16string> uncoveredObjects{};
    /// Whether XAdES names the certificate that verified. `Differs` and `NotSupported` make the signature invalid.
    CertificateClaim certificateClaim = CertificateClaim::None;
    std::size_t claimedCertificate = 0; ///< the place in `SignedProperties::certificates` of the one that `Holds`
    std::vector<TimeStampReport> timeStamps{}; ///< of the signature value
    /// The point in time for which the certificate was validated, in UTC; not-a-date-time when none was.
    boost::posix_time::ptime validationTime{};
    /// Why the signature cannot be verified; the other fields are not set then. Set by `examineAllSignatures` only; the
    /// other functions throw.
    std::string problem{};

    /// Whether the signature value, every reference and the claim of XAdES about the certificate are valid.
    bool isSignatureValid() const noexcept;

    DigitalSignatureVerificationStatus getStatus() const;

    /// The first reference that is not valid; null when all are, or there is none.
    const ReferenceReport* findFirstProblem() const noexcept;
};

} // namespace opc::model
