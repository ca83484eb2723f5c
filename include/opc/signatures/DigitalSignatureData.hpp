// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/X509Certificate.hpp>
#include <opc/certificates/X509CertificateChain.hpp>
#include <opc/core/Export.hpp>
#include <opc/crypto/PublicKey.hpp>
#include <opc/crypto/RSAPublicKey.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/URI.hpp>
#include <opc/model/relationships/Relationship.hpp>
#include <opc/model/relationships/RelationshipSelector.hpp>
#include <opc/signatures/SignatureAlgorithm.hpp>
#include <opc/signatures/SignatureForm.hpp>
#include <opc/signatures/SignatureParams.hpp>
#include <opc/signatures/SignedProperties.hpp>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace opc::model {

/// One signature in memory: the content of its part (ECMA-376-2 §10.5, XML-DSig §4), resolved in the package.
///
/// Plain data, shared between the `DigitalSignatureManager` of the package and the `DigitalSignature` handles that it
/// returns: a change is visible to all of them.
struct DigitalSignatureData {
    /// A `Reference` of `SignedInfo` or of the manifest.
    struct ReferenceData {
        std::u16string id{}; ///< may be empty
        URI uri{u""}; ///< of a part: its name, "?ContentType=" and its content type; of an object: "#" and its Id
        std::u16string type{}; ///< empty for a part
        /// Identifiers. A signature that was read has the relationships transform among them; in a new one the
        /// selectors imply it.
        std::vector<std::u16string> transforms{};
        std::vector<std::u16string> relationshipSourceIds{};   ///< of the relationships transform: by Id
        std::vector<std::u16string> relationshipSourceTypes{}; ///< of the relationships transform: by Type
        std::u16string digestMethod{};                         ///< identifier
        std::u16string digestValue{};                          ///< base64
    };

    /// What holds for the standard forms only: what was read is kept as the octets that are verified.
    struct StandardData {
        SignatureAlgorithm algorithm{};
        std::optional<crypto::PublicKey> keyValue{}; ///< a bare key of any kind
        std::u16string documentId{};                 ///< Id of the Signature element; may be empty
        /// The octets that the signature value is over: `SignedInfo` in its canonical form.
        std::string signedInfo{};
        /// The canonical form of each element that a reference of `SignedInfo` refers to, by Id.
        std::map<std::u16string, std::string> elements{};
        /// Certificates that stand in parts of their own (ECMA-376-2 §10.4), those of `certificate` and
        /// `certificateChain` among them.
        std::vector<PartName> certificateParts{};
        /// Whether `certificate` stands in a KeyInfo that a reference of `SignedInfo` refers to.
        bool isCertificateSigned = false;
        std::vector<std::u16string> keyHints{}; ///< what else KeyInfo holds, by local name: not used
        SignedProperties properties{};
        bool hasProperties = false;       ///< whether there are QualifyingProperties
        bool arePropertiesSigned = false; ///< whether `SignedInfo` refers to them
        UnsignedProperties unsignedProperties{};
        /// Why it cannot be read; empty when it can. Otherwise only `form`, `partName` and `signatureId` are set.
        std::string problem{};
    };

    /// The `SignatureProperty` with the time of signing.
    struct SignaturePropertyData {
        std::u16string target{}; ///< "#" and the Id of the signature
        std::u16string id{};
        std::u16string format{}; ///< the precision of the value, as a W3CDTF pattern
        std::u16string value{};
    };

    /// An `Object`.
    struct ObjectData {
        std::u16string id{};       ///< in the standard forms it may be empty
        std::u16string xmlBytes{}; ///< the element as text, which a reference to it digests; only `Library` has it
        bool isXades = false;      ///< it contains QualifyingProperties alone, which `StandardData` has
    };

    /// The parts that the manifest covers, in its order.
    std::vector<PartName> signedPartNames{};
    /// Each once, in the order of the selectors.
    std::vector<Relationship> signedRelationships{};
    /// Their selectors by source.
    std::map<URI, std::vector<RelationshipSelector>> relationshipSelectors{};

    boost::posix_time::ptime signedTime{}; ///< UTC; whole minutes in new signatures
    std::u16string signatureId{};          ///< decimal digits, or "countersig"; from the name of the part
    SignatureForm form = SignatureForm::Library;
    std::u16string partName{}; ///< where the signature is stored
    SignatureParams signatureParams{DigestMethod::SHA256, SignatureMethod::RSA2048};
    std::u16string canonicalizationMethod{}; ///< identifier
    std::u16string signatureMethod{};        ///< identifier
    std::u16string signatureValue{};         ///< base64

    // The signer: a bare key or a certificate.
    std::optional<crypto::RSAPublicKey> publicKey{};
    certificates::X509Certificate certificate{};
    certificates::X509CertificateChain certificateChain{}; ///< the other certificates in the signature

    std::vector<ReferenceData> signedInfoReferences{};
    std::vector<ReferenceData> manifestReferences{};
    std::vector<SignaturePropertyData> signatureProperties{};
    std::vector<ObjectData> objects{}; ///< all of them, in document order

    StandardData standard{}; ///< of `SignatureForm::Standard` and `Office`
};

/// Writes a human-readable dump in the user's default encoding (`toUDEString`).
/// @return the stream.
OPCRAFT_API std::ostream& prettyPrint(std::ostream& out, const DigitalSignatureData& signature);

} // namespace opc::model
