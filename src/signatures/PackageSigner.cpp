// SPDX-License-Identifier: Apache-2.0
#include "signatures/PackageSigner.hpp"

#include <opc/errors/Errors.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include "model/ItemBytes.hpp"
#include "signatures/ErrorTranslation.hpp"
#include "signatures/PackageGuards.hpp"
#include "signatures/PackageVerifier.hpp"
#include "signatures/SignatureBounds.hpp"
#include "signatures/SignatureDocumentWriter.hpp"
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
            if (origin_->hasRelationship(relationshipId_)) // checked first, so that no part is created in vain
                throw RelationshipAlreadyExists("Relationship ID already exists");
            const Part part = package_.createPart(name_, ContentType(form_.signatureContentType), StandardPartInfo());
            createdPart_ = true;
            origin_->createInternalRelationship(form_.signatureRelationshipType, name_.getURI(), relationshipId_);
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
    const std::u16string relationshipId_;
    std::optional<Part> origin_;
    bool createdOrigin_ = false;
    bool createdPart_ = false;
    bool createdRelationship_ = false;
};

} // namespace

/// The key that signs, and what verifies it: a public key or a certificate. Without either, the key's own public part.
struct PackageSigner::Material {
    const Bytes& signingKey;
    Bytes verificationKey{};
    X509Certificate certificate{};
    X509CertificateChain chain{};
    const char* mismatch; ///< the message when the two do not belong together

    std::optional<crypto::RSAPublicKey> readVerificationKey() const {
        if (!certificate.isEmpty())
            return readPublicKey(certificate);
        if (!verificationKey.empty())
            return readPublicKey(verificationKey);
        return std::nullopt;
    }

    /// The signing key, if it fits the parameters and belongs to the key that verifies.
    crypto::RSAPrivateKey readSigningKey(const SignatureParams& params) const {
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
                             const std::vector<DigitalSignature>& existing, MakeId makeId)
    : package_(package), form_(form), existing_(existing), makeId_(std::move(makeId)) {}

DigitalSignature PackageSigner::make(const SigningRequest& request, const Material& material,
                                     const SignatureParams& params) {
    const DataToSign data = computeDataToSign(package_, request, params.getDigestMethod());
    throwIfTooMuchIsSigned<CouldNotGenerateSignature>(existing_, request.parts.size() + data.relationships.size());
    const std::u16string id = makeId_();
    throwIfNotSignable(id, data);
    throwIfKeyLengthIsOff(material.signingKey, material.verificationKey, params);
    return translatingErrorsTo<CouldNotGenerateSignature>([&] {
        const crypto::RSAPrivateKey key = material.readSigningKey(params);
        auto made = makeSignatureData(package_, form_, id, data, params);
        if (material.certificate.isEmpty())
            made->publicKey = key.getPublicKey();
        made->certificate = material.certificate;
        made->certificateChain = material.chain;
        made->signatureValue = makeSignatureValue(*made, key);
        store(*made);
        return DigitalSignature(std::move(made));
    });
}

DigitalSignature PackageSigner::sign(const SigningRequest& request, const Bytes& signingKey,
                                     const Bytes& verificationKey, const SignatureParams& params) {
    throwIfKeyIsEmpty(signingKey);
    throwIfNotOpenForModify(package_);
    const DigitalSignature signature =
        make(request, {signingKey, verificationKey, {}, {}, KEY_DOES_NOT_VERIFY}, params);
    return translatingErrorsTo<CouldNotGenerateSignature>([&] {
        const Bytes publicKey = signature.getImpl()->publicKey->toDER();
        if (!toStatus(PackageVerifier(package_).examine(signature, publicKey)).isValid())
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
        make(request, {signingKey, {}, certificate, chain, CERTIFICATE_DOES_NOT_VERIFY}, params);
    return translatingErrorsTo<CouldNotGenerateSignature>([&] {
        const auto report = PackageVerifier(package_).examine(signature, certificate, chain, options, trustStore);
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

void PackageSigner::store(DigitalSignatureData& signature) {
    const PartName name = makeSignaturePartName(form_, SIGNATURE_NAME_PREFIX + signature.signatureId);
    if (package_.hasPart(name))
        throw CouldNotGenerateSignature(
            "Internal Error: New signature should not have the same name as an existing one.");
    // Serialized first, so that a signature that cannot be written creates nothing.
    const std::string text = SignatureDocumentWriter::makeDocument(signature);
    SignaturePartCreation creation(package_, form_, name, SIGNATURE_RELATIONSHIP_ID_PREFIX + signature.signatureId);
    creation.fetchOrigin();
    replaceItem(*creation.createPart().getOutputStream(), Bytes(text.begin(), text.end()));
    creation.commit();
    signature.partName = name.toString();
}

} // namespace opc::model
