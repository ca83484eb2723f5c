// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/X509Certificate.hpp>
#include <opc/certificates/X509CertificateChain.hpp>
#include <opc/core/Export.hpp>
#include <opc/crypto/RSAPublicKey.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/URI.hpp>
#include <opc/model/relationships/Relationship.hpp>
#include <opc/model/relationships/RelationshipSelector.hpp>
#include <opc/signatures/SignatureParams.hpp>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace opc::model {

/// One signature in memory: what its part says (ECMA-376-2 §10.5, XML-DSig §4), and what that means in the package.
///
/// Plain data. The signatures of a package are shared between its `DigitalSignatureManager` and the handles
/// (`DigitalSignature`) that it gives out; who changes the data changes them for all.
struct DigitalSignatureData {
    /// A `Reference`, of `SignedInfo` or of the manifest.
    struct ReferenceData {
        std::u16string id{}; ///< may be empty
        URI uri{u""}; ///< of a part: its name, "?ContentType=" and its content type; of an object: "#" and its Id
        std::u16string type{}; ///< empty for a part
        /// Identifiers. The relationships transform is among them in a signature that was read; one that is new has it
        /// where there are selectors.
        std::vector<std::u16string> transforms{};
        std::vector<std::u16string> relationshipSourceIds{};   ///< of the relationships transform: by Id
        std::vector<std::u16string> relationshipSourceTypes{}; ///< of the relationships transform: by Type
        std::u16string digestMethod{};                         ///< identifier
        std::u16string digestValue{};                          ///< base64
    };

    /// The `SignatureProperty` with the time of signing.
    struct SignaturePropertyData {
        std::u16string target{}; ///< "#" and the Id of the signature
        std::u16string id{};
        std::u16string format{}; ///< how precise the value is, in the letters of W3CDTF
        std::u16string value{};
    };

    /// An `Object`.
    struct ObjectData {
        std::u16string id{};
        std::u16string xmlBytes{}; ///< the element as text: what a reference to it digests
    };

    /// What the manifest covers, in its order.
    std::vector<PartName> signedPartNames{};
    /// Each once, in the order of the selectors.
    std::vector<Relationship> signedRelationships{};
    /// What selects them, by the source.
    std::map<URI, std::vector<RelationshipSelector>> relationshipSelectors{};

    boost::posix_time::ptime signedTime{}; ///< UTC, whole minutes when it was made here
    std::u16string signatureId{};          ///< decimal digits, or "countersig"; from the name of the part
    std::u16string partName{};             ///< where the signature is
    SignatureParams signatureParams{DigestMethod::SHA256, SignatureMethod::RSA2048};
    std::u16string canonicalizationMethod{}; ///< identifier
    std::u16string signatureMethod{};        ///< identifier
    std::u16string signatureValue{};         ///< base64

    // Who signed: a bare key, or a certificate. Both are empty in a signature that was not read from a part.
    std::optional<crypto::RSAPublicKey> publicKey{};
    certificates::X509Certificate certificate{};
    certificates::X509CertificateChain certificateChain{}; ///< the other certificates that came with it

    std::vector<ReferenceData> signedInfoReferences{};
    std::vector<ReferenceData> manifestReferences{};
    std::vector<SignaturePropertyData> signatureProperties{};
    std::vector<ObjectData> objects{}; ///< all of them, in document order
};

/// Writes a signature for people to read, in the user's default encoding (`toUDEString`).
/// @return the stream.
OPCRAFT_API std::ostream& prettyPrint(std::ostream& out, const DigitalSignatureData& signature);

} // namespace opc::model
