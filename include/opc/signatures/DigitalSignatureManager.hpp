// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/CertificateValidationOptions.hpp>
#include <opc/certificates/PKCS12Certificate.hpp>
#include <opc/certificates/TrustStore.hpp>
#include <opc/core/Export.hpp>
#include <opc/model/DataManager.hpp>
#include <opc/model/Package.hpp>
#include <opc/signatures/DigitalSignature.hpp>
#include <opc/signatures/VerificationReport.hpp>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace opc::model {

class ReferenceExaminer;
class SignatureDocumentReader;

/// What is to be signed.
struct SigningRequest {
    std::vector<PartName> parts{};
    std::vector<RelationshipSelector> selectors{};
};

/// The digital signatures of a package (ECMA-376-2 §10): finds, makes, verifies and removes them.
///
/// A data manager: made before its package is opened, destroyed before it. It reads all signatures when the package is
/// opened, and a signature that cannot be read, or that names parts or relationships which are not there, keeps the
/// package from being opened: `InvalidSignature`. A signature is written to its part at once; the package is saved by
/// its flush or close, as with every change. Used by one thread at a time, together with its package.
///
/// A signature covers the bytes and content types of the parts, and the relationships, that it was made for, and
/// nothing else; `examineCoverage` tells what that leaves out. The keywords of the core properties part
/// "/metadata/coreProperties.xml" are not covered, as long as nothing but keywords stands there.
///
/// A package has at most 100 signatures, which cover at most 300,000 parts and relationships, each counted once for
/// each signature.
///
/// Keys are DER: private keys a PrivateKeyInfo of PKCS#8 or an RSAPrivateKey of PKCS#1, public ones a
/// SubjectPublicKeyInfo or an RSAPublicKey of PKCS#1, RSA with 1024, 2048 or 4096 bits.
///
/// Every function throws `PackageNotOpen` when the package is not open; those that change it throw `PackageReadOnly`
/// and `PackageCreateOnly` too.
class OPCRAFT_API DigitalSignatureManager final : public DataManager {
public:
    /// @param package not open; it outlives the manager.
    /// @throws PackageAlreadyOpen
    explicit DigitalSignatureManager(Package& package);
    ~DigitalSignatureManager() override;

protected:
    void doLoad() override;
    /// Nothing: signatures are written when they are made.
    void doSave() override;
    std::vector<std::u16string> doGetManagedPartNames() const override;
    std::vector<std::u16string> doGetManagedRelationshipTypes() const override;

public:
    /// @name Which signatures there are
    /// @{

    /// In the order of the relationships that lead to them.
    std::vector<DigitalSignature> getSignatures() const;
    /// Of several of one name, the one that lies where a new one would be put.
    /// @throws SignatureNotFound when there is none of that name, or the name is that of a part.
    DigitalSignature getSignature(const std::u16string& name) const;
    /// The same.
    /// @throws SignatureNotFound
    DigitalSignature findSignature(const std::u16string& name) const;
    /// The countersignature counts too.
    bool isPackageSigned() const;
    /// Whether some signature names the part; whether it holds is another matter.
    bool isSigned(const PartName& name) const;
    bool isPackageCountersigned() const;
    /// @throws SignatureNotFound
    DigitalSignature getCountersignature() const;
    /// @}

    /// @name How signatures are named
    /// @{

    /// The number that the next signature gets, which is thereby used up. It is above those of all signatures.
    std::u16string getNextSignatureID();
    /// Takes care that the next number is above that of a signature: its id, or else what its part is named.
    void updateNextSignatureID(const std::u16string& id, const Part& signaturePart);
    /// Where a new signature of that name is put.
    /// @throws SignatureNotFound when the name starts with a slash.
    PartName getSignaturePartName(const std::u16string& name) const;
    /// The ID of the relationship that leads to the signature of that id (not name).
    std::u16string getSignatureRelationshipID(const std::u16string& id) const;
    /// The part that all signature parts are related to, with the target and the ID of the relationship to it.
    /// @throws SignatureNotFound when the package has none.
    Part getSignatureOriginPart(URI& target, std::u16string& relationshipId) const;
    /// @}

    /// @name Signing
    /// A signature is verified after it was made and counts only then. What is signed may not be open for writing.
    /// A call that is refused takes back what it created, and nothing else; its number stays used up, and so does the
    /// part of a signature that does not verify (`deleteSignaturePart` removes it).
    ///
    /// All throw, besides what is said at each:
    /// @throws CouldNotGenerateSignature when nothing is to be signed, a key is empty or is not the one that belongs to
    ///         the other, a selector fits nothing, something cannot be read, there are too many signatures, or the
    ///         signature cannot be stored.
    /// @throws RelationshipNotFound when no relationship fits the selectors.
    /// @throws NotImplemented for an RSA key that has not 1024, 2048 or 4096 bits.
    /// @throws opc::Exception (the base itself) when the length of a key does not go with the parameters.
    /// @{

    /// The signature carries the public key alone: it shows that nothing was changed since, not who signed.
    DigitalSignature sign(const std::vector<PartName>& parts, const std::vector<RelationshipSelector>& selectors,
                          const std::vector<unsigned char>& signingKey, const SignatureParams& params);
    /// @param verificationKey the public key of the signing key.
    DigitalSignature sign(const std::vector<PartName>& parts, const std::vector<RelationshipSelector>& selectors,
                          const std::vector<unsigned char>& signingKey,
                          const std::vector<unsigned char>& verificationKey, const SignatureParams& params);
    /// The signature carries the certificate and its chain.
    /// @param options what is asked of the certificate before anything is signed.
    /// @param trustStore when it is empty, the certificates of the system are trusted.
    /// @throws CouldNotGenerateSignature also when the certificate is empty, not valid, of another purpose, or not one
    ///         that the trust store vouches for; or its key has not the size of the parameters.
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

    /// Signs all that `getAllPartsAndRels` gives.
    DigitalSignature signPackage(const std::vector<unsigned char>& signingKey, const SignatureParams& params);
    DigitalSignature signPackage(const certificates::PKCS12Certificate& pkcs12,
                                 const certificates::CertificateValidationOptions& options,
                                 const SignatureParams& params, const certificates::TrustStore& trustStore);

    /// Every part and every relationship (by its ID) but those that data managers own: signatures cover neither one
    /// another nor what ties them to the package. A relationship that is added later is not covered.
    SigningRequest getAllPartsAndRels() const;
    /// @}

    /// @name Countersigning
    /// A package has at most one countersignature. It covers every signature part and, by type, the relationships that
    /// tie them to the package: another signature breaks it, and so does the removal of one. The arguments are those of
    /// `sign`.
    /// @throws CouldNotGenerateSignature when the package is countersigned already, or not signed at all; and as
    /// `sign`.
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
    /// @}

    /// @name Verifying
    /// A signature that does not hold is a status, no exception. Revocation is not looked up, nothing uses the network.
    ///
    /// All throw:
    /// @throws InvalidSignature when the signature cannot be verified by such a key at all: an empty key, a key of
    ///         another size than the signature's, a certificate whose purpose excludes signatures (when the options ask
    ///         for the purpose), or something that is signed cannot be read.
    /// @throws NotImplemented for an RSA key that has not 1024, 2048 or 4096 bits.
    /// @{

    /// By a key that the caller knows.
    DigitalSignatureVerificationStatus verifySignature(const DigitalSignature& signature,
                                                       const std::vector<unsigned char>& publicKey) const;
    /// By a certificate that the caller has.
    /// @param trustStore when it is empty, the certificates of the system are trusted.
    /// @throws opc::Exception (the base itself) when the certificate is empty.
    DigitalSignatureVerificationStatus verifySignature(const DigitalSignature& signature,
                                                       const certificates::X509Certificate& certificate,
                                                       const certificates::X509CertificateChain& chain,
                                                       const certificates::CertificateValidationOptions& options,
                                                       const certificates::TrustStore& trustStore) const;
    /// By what the signature carries. A bare key vouches for nobody, and its status has nothing to say against it: look
    /// at `SignatureReport::keySource` where it matters who signed.
    /// @throws InvalidSignature also when the signature carries neither key nor certificate, or is not one of RSA.
    DigitalSignatureVerificationStatus verifySignature(const DigitalSignature& signature,
                                                       const certificates::CertificateValidationOptions& options,
                                                       const certificates::TrustStore& trustStore) const;

    /// The same, of the countersignature.
    /// @throws SignatureNotFound when there is none.
    DigitalSignatureVerificationStatus verifyCountersignature(const std::vector<unsigned char>& publicKey) const;
    DigitalSignatureVerificationStatus verifyCountersignature(const certificates::X509Certificate& certificate,
                                                              const certificates::X509CertificateChain& chain,
                                                              const certificates::CertificateValidationOptions& options,
                                                              const certificates::TrustStore& trustStore) const;
    DigitalSignatureVerificationStatus verifyCountersignature(const certificates::CertificateValidationOptions& options,
                                                              const certificates::TrustStore& trustStore) const;

    /// Verifies one signature after the other by what each carries.
    /// @return the first status that is not valid; a valid one when all are, and when there is no signature.
    DigitalSignatureVerificationStatus verifyAllSignatures(const certificates::CertificateValidationOptions& options,
                                                           const certificates::TrustStore& trustStore) const;
    /// @}

    /// @name Examining
    /// What `verifySignature` does, with everything that was found out on the way. What is wrong with a reference or a
    /// certificate stands in the report, the purpose of the certificate too; the other exceptions are the same.
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
    /// All of them by what each carries. A part that several signatures cover is read once for each digest. One that
    /// cannot be verified at all has a `SignatureReport::problem`, and keeps the others from nothing.
    std::vector<SignatureReport> examineAllSignatures(const certificates::CertificateValidationOptions& options,
                                                      const certificates::TrustStore& trustStore) const;
    /// All of them by a key that the caller knows.
    /// @throws InvalidSignature when the key is empty or none; NotImplemented as above.
    std::vector<SignatureReport> examineAllSignatures(const std::vector<unsigned char>& publicKey) const;

    /// What each of some signatures covers by itself, in the order of the reports.
    /// @param otherItems names of stored items that are no parts (`storage::ZipPackage::getOtherItems`).
    /// @throws InvalidSignature when there are several reports, and the package has more than 1,000,000 parts,
    ///         relationships and items, each counted once for each report.
    std::vector<CoverageReport> examineCoverage(const std::vector<SignatureReport>& reports,
                                                const std::vector<std::string>& otherItems = {},
                                                CoverageScope scope = CoverageScope::Content) const;
    /// What a signature of the whole package, made now, could not stand for.
    SigningGaps findSigningGaps(const std::vector<std::string>& otherItems = {}) const;
    /// @}

    /// @name Removing
    /// With the last signature the origin part goes. A signature that the countersignature covers may be removed; the
    /// countersignature does not hold any longer then.
    /// @throws CouldNotRemoveSignature when a part or relationship cannot be deleted; the package is to be closed with
    ///         discard then.
    /// @{

    /// @throws SignatureNotFound
    void removeSignature(const std::u16string& name);
    void removeSignature(const DigitalSignature& signature);
    /// Nothing when there is none.
    void removeCountersignature();
    void removeAllSignatures();
    /// Removes a signature part and its relationship, and with the last one the origin, but no entry of
    /// `getSignatures`: a way out for a part that was written before signing failed. A part of another name and content
    /// type that poses as the origin stays, without the relationship.
    /// @throws SignatureNotFound when this is no signature part.
    void deleteSignaturePart(const PartName& name) const;
    /// @}

private:
    struct NewSignature;
    struct VerificationMaterial;

    const std::vector<DigitalSignature>& loaded() const noexcept;
    void throwIfPackageNotOpen() const;
    void throwIfPackageReadOnly() const;
    void throwIfPackageCreateOnly() const;
    void throwIfPackageNotOpenForModify() const;
    void throwIfPackageNotCountersigned() const;
    void throwIfNotValidSignaturePart(const PartName& name) const;

    void load(const PartName& name, std::set<PartName>& seen);
    DigitalSignature loadSignature(const Part& part) const;
    void fillUpSignedEntities(DigitalSignatureData& data) const;
    void resolve(const DigitalSignatureData::ReferenceData& reference, DigitalSignatureData& data) const;
    void assertSignatureCorrectnessAfterLoad(const DigitalSignatureData& data) const noexcept;

    DigitalSignature makeSignature(const NewSignature& wish, const SignatureParams& params,
                                   const SigningRequest& request, bool isCountersignature);
    DigitalSignature signHelper(const std::vector<unsigned char>& signingKey,
                                const std::vector<unsigned char>& verificationKey, const SignatureParams& params,
                                const SigningRequest& request, bool isCountersignature);
    DigitalSignature signHelper(const std::vector<unsigned char>& signingKey,
                                const certificates::X509Certificate& certificate,
                                const certificates::X509CertificateChain& chain,
                                const certificates::CertificateValidationOptions& options,
                                const SignatureParams& params, const certificates::TrustStore& trustStore,
                                const SigningRequest& request, bool isCountersignature);
    DigitalSignature signHelper(const certificates::PKCS12Certificate& pkcs12,
                                const certificates::CertificateValidationOptions& options,
                                const SignatureParams& params, const certificates::TrustStore& trustStore,
                                const SigningRequest& request, bool isCountersignature);
    SignatureReport examine(const DigitalSignature& signature, const VerificationMaterial& material,
                            ReferenceExaminer& examiner) const;
    SignatureReport examineByOwnMaterial(const DigitalSignature& signature,
                                         const certificates::CertificateValidationOptions& options,
                                         const certificates::TrustStore& trustStore, ReferenceExaminer& examiner) const;
    void countersignHelper(std::vector<PartName>& parts, std::vector<RelationshipSelector>& selectors) const;
    void saveSignaturePart(const DigitalSignature& signature);
    void remove(const DigitalSignature& signature);

    std::vector<DigitalSignature> signatures_;
    std::uint64_t nextSignatureID_ = 1;
    std::unique_ptr<SignatureDocumentReader> reader_;
};

} // namespace opc::model
