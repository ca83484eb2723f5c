// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/CertificateValidationOptions.hpp>
#include <opc/certificates/PKCS12Certificate.hpp>
#include <opc/certificates/TrustStore.hpp>
#include <opc/core/Export.hpp>
#include <opc/crypto/Signer.hpp>
#include <opc/model/DataManager.hpp>
#include <opc/model/Package.hpp>
#include <opc/signatures/DigitalSignature.hpp>
#include <opc/signatures/SignatureForm.hpp>
#include <opc/signatures/SigningOptions.hpp>
#include <opc/signatures/VerificationOptions.hpp>
#include <opc/signatures/VerificationReport.hpp>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace opc::model {

class PackageSigner;
class SignatureDocumentReader;
struct SignatureFormRules;

/// What is to be signed.
struct SigningRequest {
    std::vector<PartName> parts{};
    std::vector<RelationshipSelector> selectors{};
};

/// Finds, creates, verifies and removes the digital signatures of a package (ECMA-376-2 §10).
///
/// A data manager: created before its package is opened, destroyed before the package. It reads all signatures when the
/// package is opened. Opening fails with `InvalidSignature` when a signature cannot be read, or names parts or
/// relationships that the package does not have. A signature is written to its part at once; like every change, it is
/// saved when the package is flushed or closed. Used by one thread at a time, together with its package.
///
/// A signature covers the bytes and content types of the parts, and the relationships, that were signed, and nothing
/// else; `examineCoverage` reports what is not covered. The keywords of the core properties part
/// "/metadata/coreProperties.xml" are not covered, as long as their element contains only keywords.
///
/// Limits: 100 signatures per package, and 300,000 parts and relationships that they cover, each counted once per
/// signature.
///
/// Keys are DER: private keys a PrivateKeyInfo of PKCS#8 or an RSAPrivateKey of PKCS#1, public ones a
/// SubjectPublicKeyInfo or an RSAPublicKey of PKCS#1, RSA with 1024, 2048 or 4096 bits.
///
/// Every function throws `PackageNotOpen` when the package is not open; functions that change the package also throw
/// `PackageReadOnly` and `PackageCreateOnly`.
class OPCRAFT_API DigitalSignatureManager final : public DataManager {
public:
    /// @param package not open yet; it has to outlive the manager.
    /// @throws PackageAlreadyOpen
    explicit DigitalSignatureManager(Package& package);
    /// Reads signatures of several forms. One of the standard forms that cannot be read does not keep the package from
    /// opening: it has a `DigitalSignature::getProblem`.
    /// @param formsToRead each once; `Standard` and `Office` are read alike, so that either stands for both.
    /// @param formToWrite one of them.
    /// @throws PackageAlreadyOpen
    /// @throws opc::Exception when `formToWrite` is not among the others, or a value is not an enumerator.
    DigitalSignatureManager(Package& package, const std::vector<SignatureForm>& formsToRead, SignatureForm formToWrite);
    ~DigitalSignatureManager() override;

protected:
    void doLoad() override;
    /// Does nothing: signatures are written when they are created.
    void doSave() override;
    std::vector<std::u16string> doGetManagedPartNames() const override;
    std::vector<std::u16string> doGetManagedRelationshipTypes() const override;

public:
    /// @name Queries
    /// @{

    /// In the order of the relationships that lead to them.
    std::vector<DigitalSignature> getSignatures() const;
    /// Of several signatures with this name, the one at `getSignaturePartName(name)`.
    /// @throws SignatureNotFound when there is none, or `name` is a part name.
    DigitalSignature getSignature(const std::u16string& name) const;
    /// Same as `getSignature`.
    /// @throws SignatureNotFound
    DigitalSignature findSignature(const std::u16string& name) const;
    /// Whether the signature is one over other signatures: in the library's form the one with the name of the
    /// countersignature, in the standard forms one that covers no part but signature parts.
    bool isCountersignature(const DigitalSignature& signature) const;
    /// True also when the countersignature is the only signature.
    bool isPackageSigned() const;
    /// Whether a signature references the part. The signature is not verified.
    bool isSigned(const PartName& name) const;
    bool isPackageCountersigned() const;
    /// @throws SignatureNotFound
    DigitalSignature getCountersignature() const;
    /// @}

    /// @name Names of signatures
    /// @{

    /// The number of the next signature, higher than those of all signatures. Each call consumes one.
    std::u16string getNextSignatureID();
    /// Raises the next number above that of a signature: its id or else the number in its part name.
    void updateNextSignatureID(const std::u16string& id, const Part& signaturePart);
    /// The name of the part that a new signature of that name is stored in.
    /// @throws SignatureNotFound when the name starts with a slash.
    PartName getSignaturePartName(const std::u16string& name) const;
    /// The ID of the relationship to the signature with this id (not name).
    std::u16string getSignatureRelationshipID(const std::u16string& id) const;
    /// The signature origin part.
    /// @param target receives the target of the relationship of the package to it.
    /// @param relationshipId receives the ID of that relationship.
    /// @throws SignatureNotFound when the package has none.
    Part getSignatureOriginPart(URI& target, std::u16string& relationshipId) const;
    /// @}

    /// @name Signing
    /// A new signature is verified before it is added. Parts that are signed must not be open for writing. When
    /// signing fails, everything that it created is deleted, except the part of a signature that does not verify
    /// (`deleteSignaturePart` deletes it); the number of the signature stays consumed.
    ///
    /// All throw, besides what is documented at each:
    /// @throws CouldNotGenerateSignature when nothing is to be signed, a key is empty, the keys do not belong together,
    ///         a selector matches nothing, something cannot be read, there are too many signatures, or the signature
    ///         cannot be stored.
    /// @throws RelationshipNotFound when no relationship matches the selectors.
    /// @throws NotImplemented for an RSA key of a size other than 1024, 2048 or 4096 bits.
    /// @throws opc::Exception (the base itself) when the length of a key does not match the parameters.
    /// @{

    /// The signature contains the public key only: it proves that nothing was changed, not who signed.
    DigitalSignature sign(const std::vector<PartName>& parts, const std::vector<RelationshipSelector>& selectors,
                          const std::vector<unsigned char>& signingKey, const SignatureParams& params);
    /// @param verificationKey the public key of the signing key.
    DigitalSignature sign(const std::vector<PartName>& parts, const std::vector<RelationshipSelector>& selectors,
                          const std::vector<unsigned char>& signingKey,
                          const std::vector<unsigned char>& verificationKey, const SignatureParams& params);
    /// The signature contains the certificate and its chain.
    /// @param options how the certificate is validated before anything is signed.
    /// @param trustStore when it is empty, the certificates of the system are trusted.
    /// @throws CouldNotGenerateSignature also when the certificate is empty, not valid, for another purpose or not
    ///         trusted, or its key size does not match the parameters.
    DigitalSignature sign(const std::vector<PartName>& parts, const std::vector<RelationshipSelector>& selectors,
                          const std::vector<unsigned char>& signingKey,
                          const certificates::X509Certificate& certificate,
                          const certificates::X509CertificateChain& chain,
                          const certificates::CertificateValidationOptions& options, const SignatureParams& params,
                          const certificates::TrustStore& trustStore);
    /// @throws CouldNotGenerateSignature also when the bundle has no private key or no certificate.
    DigitalSignature sign(const std::vector<PartName>& parts, const std::vector<RelationshipSelector>& selectors,
                          const certificates::PKCS12Certificate& pkcs12,
                          const certificates::CertificateValidationOptions& options, const SignatureParams& params,
                          const certificates::TrustStore& trustStore);

    /// Signs in the form that is written, with a key wherever it lies. Nothing is written before the signer has
    /// answered and its answer is valid for its own key and for the certificate; its exceptions go through unchanged.
    /// @throws CouldNotGenerateSignature also when the certificate is not valid, not trusted or of another key, the
    ///         signer does not support the digest, its answer is not valid, or the package has signatures of another
    ///         kind: `Library` and the standard forms are not mixed.
    DigitalSignature sign(const SigningRequest& request, crypto::Signer& signer, const SigningOptions& options);

    /// Signs everything that `getAllPartsAndRels` returns.
    DigitalSignature signPackage(const std::vector<unsigned char>& signingKey, const SignatureParams& params);
    DigitalSignature signPackage(const certificates::PKCS12Certificate& pkcs12,
                                 const certificates::CertificateValidationOptions& options,
                                 const SignatureParams& params, const certificates::TrustStore& trustStore);

    /// All parts and relationships (selected by ID) except those that data managers own, among them signature parts and
    /// the relationships to them. A relationship that is added later is not covered. In the form of Office, core and
    /// extended properties, the thumbnail and the relationships to them are left out as well.
    SigningRequest getAllPartsAndRels() const;
    /// @}

    /// @name Countersigning
    /// A package has at most one countersignature. It covers every signature part and, selected by type, the
    /// relationships to the origin and to the signatures: adding or removing a signature invalidates it. The arguments
    /// are those of `sign`.
    /// @throws CouldNotGenerateSignature when the package is countersigned already, or not signed at all; and as
    ///         `sign`.
    /// @{
    DigitalSignature countersignAllSignatures(const std::vector<unsigned char>& signingKey,
                                              const SignatureParams& params);
    DigitalSignature countersignAllSignatures(const std::vector<unsigned char>& signingKey,
                                              const std::vector<unsigned char>& verificationKey,
                                              const SignatureParams& params);
    DigitalSignature countersignAllSignatures(const std::vector<unsigned char>& signingKey,
                                              const certificates::X509Certificate& certificate,
                                              const certificates::X509CertificateChain& chain,
                                              const certificates::CertificateValidationOptions& options,
                                              const SignatureParams& params,
                                              const certificates::TrustStore& trustStore);
    DigitalSignature countersignAllSignatures(const certificates::PKCS12Certificate& pkcs12,
                                              const certificates::CertificateValidationOptions& options,
                                              const SignatureParams& params,
                                              const certificates::TrustStore& trustStore);
    /// In the form that is written. In the standard forms it is an ordinary signature of all signature parts, of the
    /// relationship to the origin and of those to the signatures, by Id: signatures that are added later do not
    /// invalidate it, and there may be several.
    DigitalSignature countersignAllSignatures(crypto::Signer& signer, const SigningOptions& options);
    /// @}

    /// @name Verifying
    /// An invalid signature is a status, not an exception. Revocation is not checked; the network is never used.
    ///
    /// All throw:
    /// @throws InvalidSignature when the signature cannot be verified: the key is empty or of another size than that of
    ///         the signature, the purpose of the certificate excludes signatures (when the options check the purpose),
    ///         or something that is signed cannot be read.
    /// @throws NotImplemented for an RSA key of a size other than 1024, 2048 or 4096 bits.
    /// @{

    /// With a key of the caller.
    DigitalSignatureVerificationStatus verifySignature(const DigitalSignature& signature,
                                                       const std::vector<unsigned char>& publicKey) const;
    /// With a certificate of the caller.
    /// @param trustStore when it is empty, the certificates of the system are trusted.
    /// @throws opc::Exception (the base itself) when the certificate is empty.
    DigitalSignatureVerificationStatus verifySignature(const DigitalSignature& signature,
                                                       const certificates::X509Certificate& certificate,
                                                       const certificates::X509CertificateChain& chain,
                                                       const certificates::CertificateValidationOptions& options,
                                                       const certificates::TrustStore& trustStore) const;
    /// With the key or certificate in the signature. A bare key does not identify the signer, but its status is valid:
    /// check `SignatureReport::keySource` when it matters who signed.
    /// @throws InvalidSignature also when the signature contains neither, or is not an RSA signature.
    DigitalSignatureVerificationStatus verifySignature(const DigitalSignature& signature,
                                                       const certificates::CertificateValidationOptions& options,
                                                       const certificates::TrustStore& trustStore) const;

    /// The same for the countersignature.
    /// @throws SignatureNotFound when there is none.
    DigitalSignatureVerificationStatus verifyCountersignature(const std::vector<unsigned char>& publicKey) const;
    DigitalSignatureVerificationStatus verifyCountersignature(const certificates::X509Certificate& certificate,
                                                              const certificates::X509CertificateChain& chain,
                                                              const certificates::CertificateValidationOptions& options,
                                                              const certificates::TrustStore& trustStore) const;
    DigitalSignatureVerificationStatus verifyCountersignature(const certificates::CertificateValidationOptions& options,
                                                              const certificates::TrustStore& trustStore) const;

    /// Verifies the signatures in order, each with the key or certificate in it.
    /// @return the first status that is not valid; a valid one when all are valid or there is no signature.
    DigitalSignatureVerificationStatus verifyAllSignatures(const certificates::CertificateValidationOptions& options,
                                                           const certificates::TrustStore& trustStore) const;
    /// @}

    /// @name Examining
    /// Verifies like `verifySignature` and reports all results. A fault of a reference or a certificate, its purpose
    /// included, is in the report; the other exceptions are the same.
    /// @{
    SignatureReport examineSignature(const DigitalSignature& signature,
                                     const std::vector<unsigned char>& publicKey) const;
    SignatureReport examineSignature(const DigitalSignature& signature,
                                     const certificates::X509Certificate& certificate,
                                     const certificates::X509CertificateChain& chain,
                                     const certificates::CertificateValidationOptions& options,
                                     const certificates::TrustStore& trustStore) const;
    SignatureReport examineSignature(const DigitalSignature& signature,
                                     const certificates::CertificateValidationOptions& options,
                                     const certificates::TrustStore& trustStore) const;
    /// All signatures, each with the key or certificate in it. A part that several signatures cover is read once per
    /// digest method. A signature that cannot be verified has a `SignatureReport::problem`; the others are verified.
    std::vector<SignatureReport> examineAllSignatures(const certificates::CertificateValidationOptions& options,
                                                      const certificates::TrustStore& trustStore) const;
    /// All signatures with a key of the caller.
    /// @throws InvalidSignature when the key is empty or malformed; NotImplemented as above.
    std::vector<SignatureReport> examineAllSignatures(const std::vector<unsigned char>& publicKey) const;
    /// All signatures of all forms that are read.
    /// @throws InvalidSignature when the options' key is malformed.
    std::vector<SignatureReport> examineAllSignatures(const VerificationOptions& options) const;

    /// The octets that a reference digests: those of an element in canonical form, of a part, or of relationships as
    /// the standard reads them.
    /// @param index of the reference in `SignatureReport::references`.
    /// @throws InvalidSignature when there is no such reference or it cannot be read.
    std::vector<unsigned char> getReferenceOctets(const DigitalSignature& signature, std::size_t index) const;

    /// What each signature covers by itself, in the order of the reports.
    /// @param otherItems names of stored items that are not parts (`storage::ZipPackage::getOtherItems`).
    /// @throws InvalidSignature when there are several reports, and the package has more than 1,000,000 parts,
    ///         relationships and items, each counted once per report.
    std::vector<CoverageReport> examineCoverage(const std::vector<SignatureReport>& reports,
                                                const std::vector<std::string>& otherItems = {},
                                                CoverageScope scope = CoverageScope::Content) const;
    /// What a new signature of the whole package could not cover.
    SigningGaps findSigningGaps(const std::vector<std::string>& otherItems = {}) const;
    /// @}

    /// @name Removing
    /// Removing the last signature deletes the origin part. Removing a signature that the countersignature covers
    /// invalidates the countersignature. Of the standard forms, what is more than a signature stays, as
    /// `removeSignatures` says.
    /// @throws CouldNotRemoveSignature when a part or relationship cannot be deleted; close the package with discard
    ///         then.
    /// @{

    /// @throws SignatureNotFound
    void removeSignature(const std::u16string& name);
    void removeSignature(const DigitalSignature& signature);
    /// Does nothing when there is none.
    void removeCountersignature();
    void removeAllSignatures();
    /// Deletes a signature part and its relationship, and with the last one the origin, but no entry of
    /// `getSignatures`: for a part that was written before signing failed. A target of the origin relationship that has
    /// neither the name nor the content type of an origin part is kept; only the relationship is deleted.
    /// @throws SignatureNotFound when this is not a signature part.
    void deleteSignaturePart(const PartName& name) const;
    /// @}

private:
    const std::vector<DigitalSignature>& loaded() const noexcept;
    void throwIfPackageNotCountersigned() const;
    const SignatureFormRules& throwIfNotValidSignaturePart(const PartName& name) const;

    void loadForm(const SignatureFormRules& form, std::set<PartName>& seen);
    void load(const PartName& name, const SignatureFormRules& form, std::set<PartName>& seen);
    DigitalSignature loadSignature(const Part& part, const SignatureFormRules& form) const;
    void assertSignatureCorrectnessAfterLoad(const DigitalSignatureData& data) const noexcept;

    PackageSigner makeSigner(bool isCountersignature);
    SigningRequest countersignHelper() const;
    void remove(const DigitalSignature& signature);

    std::vector<DigitalSignature> signatures_;
    std::uint64_t nextSignatureID_ = 1;
    std::unique_ptr<SignatureDocumentReader> reader_;
    std::vector<SignatureForm> forms_{SignatureForm::Library}; ///< that are read
    SignatureForm writtenForm_ = SignatureForm::Library;
};

} // namespace opc::model
