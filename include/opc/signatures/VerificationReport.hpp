// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/CertificateValidationResults.hpp>
#include <opc/core/Export.hpp>
#include <opc/signatures/CoverageReport.hpp>
#include <opc/signatures/DigitalSignature.hpp>
#include <opc/signatures/DigitalSignatureVerificationStatus.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace opc::model {

class Package;

/// What a reference names.
enum class ReferenceKind : std::int32_t {
    Object,        ///< an object of the signature itself, out of `SignedInfo`
    Part,          ///< a part, out of the manifest
    Relationships, ///< relationships of one source, out of the manifest
};

/// What became of a reference.
enum class ReferenceVerdict : std::int32_t {
    Holds,              ///< what is there is what was signed
    DigestDiffers,      ///< it was changed
    ContentTypeDiffers, ///< the part has another content type than when it was signed
    Missing,            ///< it is not in the package any longer
    NotSupported,       ///< it is not clear what it covers: no selectors, an unknown digest or transform
    NotReadable,        ///< it could not be read out of the package
    Misnamed, ///< the part has another name than when it was signed, by the case of letters; of the package object: the
              ///< signature has the name of the countersignature and is none, or is it by another name
};

/// One reference: what it claims and what was found.
struct ReferenceReport {
    ReferenceKind kind = ReferenceKind::Object;
    std::u16string uri{}; ///< as it stands in the signature
    std::u16string
        target{}; ///< the name of the part, the source of the relationships ("/": the package), the object's Id
    std::u16string claimedContentType{}; ///< empty for an object
    std::u16string foundContentType{};
    std::u16string digestMethod{};            ///< identifier
    std::u16string claimedDigest{};           ///< base64, as all digests here
    std::u16string foundDigest{};             ///< empty when none could be computed
    std::vector<std::u16string> transforms{}; ///< identifiers, the relationships transform among them
    std::vector<RelationshipSelector> selectors{};
    std::vector<Relationship> relationships{}; ///< those that the selectors find, each once, by their IDs
    ReferenceVerdict verdict = ReferenceVerdict::Holds;
    std::string problem{}; ///< what is wrong, in words; empty when it holds

    bool holds() const noexcept { return verdict == ReferenceVerdict::Holds; }
};

/// Where the key that verified a signature came from.
enum class KeySource : std::int32_t {
    KeyValue,    ///< a bare key in the signature, for which nobody vouches
    Certificate, ///< a certificate: in the signature, or the caller's
    Caller,      ///< a bare key of the caller
};

/// Everything that was found out about one signature. The verdict of the `verify…` functions is a view of it.
struct OPCRAFT_API SignatureReport {
    explicit SignatureReport(const DigitalSignature& of) : signature(of) {}

    DigitalSignature signature;
    KeySource keySource = KeySource::KeyValue;
    unsigned keySize = 0; ///< bits of the key that verified
    /// Whether the signature value is one of that key over `SignedInfo`. What is signed is another matter.
    bool signatureValueHolds = false;
    certificates::X509Certificate certificate{}; ///< empty when there is none
    certificates::X509CertificateChain certificateChain{};
    bool certificateChecked = false; ///< only when the signature value holds
    certificates::CertificateValidationResults certificateResults{};
    /// Whether the signature covers its certificate. The references of signatures of this form lead to objects alone,
    /// so another certificate for the same key could always stand in its place.
    bool certificateCovered = false;
    /// Those of `SignedInfo`, then those of the manifest, in their order. They were all looked at when the signature
    /// value holds, and none otherwise.
    std::vector<ReferenceReport> references{};
    /// The Ids of objects in the signature part that no reference of `SignedInfo` leads to: anybody may change them.
    std::vector<std::u16string> uncoveredObjects{};
    /// Why the signature cannot be verified by that key at all; nothing else was found out then. Only
    /// `examineAllSignatures` tells it so, the others throw it.
    std::string problem{};

    /// Whether the signature value and every reference hold.
    bool isSignatureValid() const noexcept;

    DigitalSignatureVerificationStatus getStatus() const;

    /// The first reference that does not hold; null when all do, or none was looked at.
    const ReferenceReport* findFirstProblem() const noexcept;
};

} // namespace opc::model
