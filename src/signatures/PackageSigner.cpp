// SPDX-License-Identifier: Apache-2.0
#include "signatures/PackageSigner.hpp"

#include <opc/errors/Errors.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include "model/ItemBytes.hpp"
#include "signatures/Base64.hpp"
#include "signatures/Digests.hpp"
#include "signatures/ErrorTranslation.hpp"
#include "signatures/PackageGuards.hpp"
#include "signatures/PackageVerifier.hpp"
#include "signatures/RelationshipsCompaction.hpp"
#include "signatures/SignatureBounds.hpp"
#include "signatures/SignatureKeys.hpp"
#include "signatures/SignatureOrigin.hpp"
#include "signatures/SigningData.hpp"

#include <optional>
#include <typeinfo>
#include <utility>

namespace opc::model {

namespace {

constexpr const char* KEY_DOES_NOT_VERIFY =
    "The verification key is invalid since the signature doesn't verify correctly after signing.";
constexpr const char* CERTIFICATE_DOES_NOT_VERIFY =
    "The signature doesn't verify correctly with the given certificate.";
constexpr const char* SIGNER_DOES_NOT_VERIFY = "The signature is not valid for the public key of the signer.";

void throwIfNotSignable(const std::u16string& id, const DataToSign& data) {
    if (id.empty())
        throw CouldNotGenerateSignature("Internal error: Empty signature ID received.");
    if (data.request.parts.empty() && data.relationships.empty())
        throw CouldNotGenerateSignature("Nothing to sign.");
    if (!data.request.parts.empty() && (data.digests.empty() || data.contentTypes.empty()))
        throw CouldNotGenerateSignature("Internal error: Signed parts' digests or content types cannot be empty.");
}

void throwIfKeyIsEmpty(const Bytes& signingKey) {
    if (signingKey.empty())
        throw CouldNotGenerateSignature("The signing key is empty.");
}

void throwIfCertificateDoesNotFit(const X509Certificate& certificate, const SignatureParams& params) {
    if (certificate.isEmpty())
        throw CouldNotGenerateSignature("The verification certificate is empty.");
    if (!fitsParams(certificate.getKeySize(), params))
        throw CouldNotGenerateSignature(
            "Verification certificate corresponds to key size " + std::to_string(certificate.getKeySize()) +
            " but signature params specify a key size of " + std::to_string(toKeySize(params.getSignatureMethod())));
}

void throwIfCertificateIsRefused(const X509Certificate& certificate, const X509CertificateChain& chain,
                                 const CertificateValidationOptions& options, const TrustStore& trustStore) {
    if (!certificate.isValid(options))
        throw CouldNotGenerateSignature("The verification certificate is invalid.");
    if (options.checksPurpose() && !certificate.allowsDigitalSignatures())
        throw CouldNotGenerateSignature("The input certificate's purpose is not intended for digital signatures.");
    const auto results = certificate.validate(chain, options, orSystemTrust(trustStore));
    if (results.getCertificateChainStatus() != 0)
        throw CouldNotGenerateSignature("The given certificate chain is incorrect. Error=" + results.getMessage());
}

void throwIfBundleIsInvalid(const PKCS12Certificate& pkcs12) {
    try {
        readPrivateKey(pkcs12.getPrivateKey().get());
        readPublicKey(pkcs12.getCertificate());
    } catch (const NotImplemented&) {
        throw;
    } catch (const Exception& e) {
        throw CouldNotGenerateSignature(std::string("The given PKCS12 bundle is invalid. ") + e.what());
    }
}

/// @throws CouldNotGenerateSignature when the signer cannot make signatures of the form with the digest.
void throwIfSignerDoesNotFit(const SignatureFormRules& form, const crypto::PublicKey& key, DigestMethod digestMethod) {
    if (key.getKind() == crypto::KeyKind::DSA)
        throw CouldNotGenerateSignature("DSA keys do not make new signatures.");
    if (form.isStandard())
        return static_cast<void>(SignatureAlgorithm::of(key.getKind(), digestMethod));
    if (key.getKind() != crypto::KeyKind::RSA)
        throw CouldNotGenerateSignature("Signatures in the form of the library need an RSA key.");
    readPublicKey(key.toDER());
}

/// Whether the package has signatures of the other forms. A reader of one would not find those of the other.
bool isSignedInAnotherForm(const Package& package, const SignatureFormRules& form) {
    const SignatureFormRules& other = rulesOf(form.isStandard() ? SignatureForm::Library : SignatureForm::Standard);
    const auto origins = package.getRelationshipsByType(other.originRelationshipType);
    return std::any_of(origins.begin(), origins.end(), [&](const Relationship& each) {
        const PartName name(each.getTargetURI());
        return package.hasPart(name) &&
               !package.getPart(name).getRelationshipsByType(other.signatureRelationshipType).empty();
    });
}

/// Signatures that could not be read again, or be found by the readers of the other form, are not made.
void throwIfNotAddable(const Package& package, const SignatureFormRules& form) {
    if (form.isStandard() && package.getRelationshipsByType(form.originRelationshipType).size() > 1)
        throw CouldNotGenerateSignature("The package has more than one relationship to a signature origin.");
    if (isSignedInAnotherForm(package, form))
        throw CouldNotGenerateSignature(form.isStandard()
                                            ? "The package has signatures in the form of the library, which are not "
                                              "mixed with those of the standard forms."
                                            : "The package has signatures of the standard forms, which are not mixed "
                                              "with those in the form of the library.");
}

CertificateValidationOptions noValidation() {
    CertificateValidationOptions options;
    options.setCheckChain(false);
    options.setCheckPurpose(false);
    options.setCheckValidityTime(false);
    return options;
}

/// Rolls a step back as far as possible. The error that led here is the one that is reported.
template <class Action>
void rollBack(Action action) noexcept {
    try {
        action();
    } catch (...) { // NOLINT(bugprone-empty-catch)
    }
}

/// Creates what stores one signature in the package. The destructor deletes what was created here unless it was
/// committed, and nothing else: a part of that name may have been there before.
class SignaturePartCreation {
public:
    /// @param relationshipId of the relationship to the signature; empty for a generated one.
    SignaturePartCreation(Package& package, const SignatureFormRules& form, const PartName& name,
                          const std::u16string& relationshipId)
        : package_(package), form_(form), name_(name), relationshipId_(relationshipId) {}

    SignaturePartCreation(const SignaturePartCreation&) = delete;
    SignaturePartCreation& operator=(const SignaturePartCreation&) = delete;

    ~SignaturePartCreation() {
        if (createdRelationship_)
            rollBack([&] { origin_->deleteRelationship(relationshipId_); });
        if (createdPart_)
            rollBack([&] { package_.deletePart(name_); });
        if (createdOrigin_)
            rollBack([&] { deleteOrigin(); });
    }

    /// Finds the origin part, or creates it in a package that has none.
    void fetchOrigin() {
        try {
            if (const auto found = findOriginRelationship(package_, form_))
                origin_ = package_.getPart(PartName(found->getTargetURI()));
            else
                createOrigin();
        } catch (const Exception& e) {
            throw CouldNotGenerateSignature(std::string("Could not create/fetch signature origin part. ") + e.what());
        }
    }

    Part createPart() {
        try {
            // Checked first, so that no part is created in vain.
            if (!relationshipId_.empty() && origin_->hasRelationship(relationshipId_))
                throw RelationshipAlreadyExists("Relationship ID already exists");
            const Part part = package_.createPart(name_, ContentType(form_.signatureContentType), StandardPartInfo());
            createdPart_ = true;
            relationshipId_ =
                origin_->createInternalRelationship(form_.signatureRelationshipType, name_.getURI(), relationshipId_)
                    .getID();
            createdRelationship_ = true;
            return part;
        } catch (const Exception& e) {
            throw CouldNotGenerateSignature(std::string("Unable to create signature part. ") + e.what());
        }
    }

    void commit() noexcept { createdOrigin_ = createdPart_ = createdRelationship_ = false; }

private:
    void createOrigin() {
        const PartName name(form_.originPartName);
        origin_ = package_.createPart(name, ContentType(form_.originContentType), StandardPartInfo());
        createdOrigin_ = true;
        package_.createInternalRelationship(form_.originRelationshipType, name.getURI());
    }

    /// The package had no relationships of this type before.
    void deleteOrigin() {
        for (const Relationship& each : package_.getRelationshipsByType(form_.originRelationshipType))
            package_.deleteRelationship(each.getID());
        package_.deletePart(PartName(form_.originPartName));
    }

    Package& package_;
    const SignatureFormRules& form_;
    const PartName name_;
    std::u16string relationshipId_;
    std::optional<Part> origin_;
    bool createdOrigin_ = false;
    bool createdPart_ = false;
    bool createdRelationship_ = false;
};

} // namespace

struct PackageSigner::Material : SigningMaterial {
    std::function<Bytes(const Bytes& octets)> makeValue;
    const char* mismatch; ///< the message when a value is not valid for the key
};

/// The key that signs, and what verifies it: a public key or a certificate. Without either, the key's own public part.
struct PackageSigner::Keys {
    const Bytes& signingKey;
    const SignatureParams& params;
    Bytes verificationKey{};
    X509Certificate certificate{};
    X509CertificateChain chain{};
    const char* mismatch; ///< the message when the two do not belong together

    Material toMaterial() const {
        throwIfKeyLengthIsOff(signingKey, verificationKey, params);
        return translatingErrorsTo<CouldNotGenerateSignature>([&] {
            const auto signer =
                std::make_shared<crypto::KeySigner>(crypto::KeySigner::fromPEMOrDER(readSigningKey().toDER().get()));
            const auto makeValue = [signer, digest = toDigestAlgorithm(params.getDigestMethod())](const Bytes& octets) {
                return translatingErrorsTo<CouldNotGenerateSignature>([&] { return signer->sign(digest, octets); });
            };
            return Material{
                {params.getDigestMethod(), signer->getPublicKey(), certificate, chain, {}}, makeValue, mismatch};
        });
    }

private:
    std::optional<crypto::RSAPublicKey> readVerificationKey() const {
        if (!certificate.isEmpty())
            return readPublicKey(certificate);
        if (!verificationKey.empty())
            return readPublicKey(verificationKey);
        return std::nullopt;
    }

    /// The signing key, if it fits the parameters and belongs to the key that verifies.
    crypto::RSAPrivateKey readSigningKey() const {
        const auto publicKey = readVerificationKey();
        crypto::RSAPrivateKey key = readPrivateKey(signingKey);
        if (!fitsParams(key.getKeySize(), params) || (publicKey && !fitsParams(publicKey->getKeySize(), params)))
            throw CouldNotGenerateSignature(KEY_DOES_NOT_FIT);
        if (publicKey && *publicKey != key.getPublicKey())
            throw CouldNotGenerateSignature(mismatch);
        return key;
    }
};

PackageSigner::PackageSigner(Package& package, const SignatureFormRules& form,
                             const std::vector<DigitalSignature>& existing, MakeId makeId, Load load)
    : package_(package), form_(form), existing_(existing), makeId_(std::move(makeId)), load_(std::move(load)) {}

PackageVerifier PackageSigner::verifier() const {
    return PackageVerifier(package_, false, ReportDetail::Faults);
}

std::shared_ptr<DigitalSignatureData> PackageSigner::make(const SigningRequest& request, DigestMethod digestMethod,
                                                          const std::function<Material()>& prepare) {
    const DataToSign data = computeDataToSign(package_, form_, request, digestMethod);
    throwIfTooMuchIsSigned<CouldNotGenerateSignature>(existing_, request.parts.size() + data.relationships.size());
    const std::u16string id = makeId_();
    throwIfNotSignable(id, data);
    const Material material = prepare();
    throwIfNotAddable(package_, form_);
    const auto made = translatingErrorsTo<CouldNotGenerateSignature>(
        [&] { return makeSignatureData(package_, form_, id, data, material); });
    const std::string text = getOctetsToSign(*made);
    const Bytes octets(text.begin(), text.end());
    const Bytes value = material.makeValue(octets); // its exceptions are those of the signer
    return translatingErrorsTo<CouldNotGenerateSignature>([&] {
        if (!material.key.verify(toDigestAlgorithm(digestMethod), octets, value))
            throw CouldNotGenerateSignature(material.mismatch);
        made->signatureValue = toBase64(value);
        return made;
    });
}

DigitalSignature PackageSigner::sign(const SigningRequest& request, crypto::Signer& signer,
                                     const SigningOptions& options) {
    throwIfNotOpenForModify(package_);
    const crypto::PublicKey key = signer.getPublicKey();
    const crypto::DigestAlgorithm digest = toDigestAlgorithm(options.digestMethod);
    if (!signer.supports(digest))
        throw CouldNotGenerateSignature("The signer does not support the digest.");
    translatingErrorsTo<CouldNotGenerateSignature>([&] {
        throwIfSignerDoesNotFit(form_, key, options.digestMethod);
        throwIfNotAddable(package_, form_);
        if (options.certificate.isEmpty())
            return;
        throwIfCertificateIsRefused(options.certificate, options.chain, options.validation, options.trust);
        if (options.certificate.getSubjectPublicKey() != key)
            throw CouldNotGenerateSignature("The certificate is not one of the key of the signer.");
    });
    const auto makeValue = [&](const Bytes& octets) { return signer.sign(digest, octets); };
    const Material material{{options.digestMethod, key, options.certificate, options.chain, options.comments},
                            makeValue,
                            SIGNER_DOES_NOT_VERIFY};
    const auto made = make(
        request, options.digestMethod, [&] { return material; });
    return translatingErrorsTo<CouldNotGenerateSignature>([&] { return store(*made); });
}

DigitalSignature PackageSigner::sign(const SigningRequest& request, const Keys& keys) {
    const auto made = make(request, keys.params.getDigestMethod(), [&] { return keys.toMaterial(); });
    return translatingErrorsTo<CouldNotGenerateSignature>([&] {
        if (form_.isStandard())
            return store(*made);
        writePart(*made);
        return DigitalSignature(made);
    });
}

DigitalSignature PackageSigner::sign(const SigningRequest& request, const Bytes& signingKey,
                                     const Bytes& verificationKey, const SignatureParams& params) {
    throwIfKeyIsEmpty(signingKey);
    throwIfNotOpenForModify(package_);
    const DigitalSignature signature =
        sign(request, Keys{signingKey, params, verificationKey, {}, {}, KEY_DOES_NOT_VERIFY});
    if (form_.isStandard())
        return signature;
    return translatingErrorsTo<CouldNotGenerateSignature>([&] {
        const Bytes publicKey = signature.getImpl()->publicKey->toDER();
        if (!toStatus(verifier().examine(signature, publicKey)).isValid())
            throw CouldNotGenerateSignature(KEY_DOES_NOT_VERIFY);
        return signature;
    });
}

DigitalSignature PackageSigner::sign(const SigningRequest& request, const Bytes& signingKey,
                                     const X509Certificate& certificate, const X509CertificateChain& chain,
                                     const CertificateValidationOptions& options, const SignatureParams& params,
                                     const TrustStore& trustStore) {
    throwIfKeyIsEmpty(signingKey);
    throwIfNotOpenForModify(package_);
    translatingErrorsTo<CouldNotGenerateSignature>([&] {
        throwIfCertificateDoesNotFit(certificate, params);
        throwIfCertificateIsRefused(certificate, chain, options, trustStore);
    });
    const DigitalSignature signature =
        sign(request, Keys{signingKey, params, {}, certificate, chain, CERTIFICATE_DOES_NOT_VERIFY});
    if (form_.isStandard())
        return signature;
    return translatingErrorsTo<CouldNotGenerateSignature>([&] {
        const auto report = verifier().examine(signature, certificate, chain, options, trustStore);
        if (!toStatus(report, &options).isValid())
            throw CouldNotGenerateSignature(CERTIFICATE_DOES_NOT_VERIFY);
        return signature;
    });
}

DigitalSignature PackageSigner::sign(const SigningRequest& request, const PKCS12Certificate& pkcs12,
                                     const CertificateValidationOptions& options, const SignatureParams& params,
                                     const TrustStore& trustStore) {
    if (!pkcs12.hasPrivateKey())
        throw CouldNotGenerateSignature("The given PKCS12 bundle is invalid. No private key found.");
    if (!pkcs12.hasCertificate())
        throw CouldNotGenerateSignature("The given PKCS12 bundle is invalid. No certificate found.");
    const std::string wrongParams = "Invalid Signature parameters or PKCS12 Bundle provided. ";
    try {
        throwIfNotOpenForModify(package_);
        throwIfBundleIsInvalid(pkcs12);
        return sign(request, pkcs12.getPrivateKey().get(), pkcs12.getCertificate(), pkcs12.getCertificateChain(),
                    options, params, trustStore);
    } catch (const NotImplemented& e) {
        throw CouldNotGenerateSignature(wrongParams + e.what());
    } catch (const Exception& e) {
        if (typeid(e) == typeid(Exception)) // the length of the key does not fit the parameters
            throw CouldNotGenerateSignature(wrongParams + e.what());
        throw;
    }
}

void PackageSigner::writePart(DigitalSignatureData& signature, const std::function<void(const Part&)>& check) {
    const PartName name = makeSignaturePartName(form_, SIGNATURE_NAME_PREFIX + signature.signatureId);
    if (package_.hasPart(name))
        throw CouldNotGenerateSignature(
            "Internal Error: New signature should not have the same name as an existing one.");
    // Serialized first, so that a signature that cannot be written creates nothing.
    const std::string text = makeSignatureDocument(signature);
    const std::u16string relationshipId =
        form_.isStandard() ? std::u16string() : SIGNATURE_RELATIONSHIP_ID_PREFIX + signature.signatureId;
    SignaturePartCreation creation(package_, form_, name, relationshipId);
    creation.fetchOrigin();
    const Part part = creation.createPart();
    replaceItem(*part.getOutputStream(), Bytes(text.begin(), text.end()));
    signature.partName = name.toString();
    if (check)
        check(part);
    creation.commit();
}

DigitalSignature PackageSigner::store(DigitalSignatureData& made) {
    std::optional<DigitalSignature> stored;
    RelationshipsCompaction compaction(package_, existing_);
    if (form_.isStandard())
        compaction.add(made);
    writePart(made, [&](const Part& part) {
        stored = load_(part);
        if (!verifier().examine(*stored, noValidation(), TrustStore()).isSignatureValid())
            throw CouldNotGenerateSignature("The signature is not valid when it is read again.");
    });
    compaction.run();
    return *stored;
}

} // namespace opc::model
