// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include "model/ItemBytes.hpp"
#include "signatures/ErrorTranslation.hpp"
#include "signatures/KeySizes.hpp"
#include "signatures/ManifestTarget.hpp"
#include "signatures/PartDigester.hpp"
#include "signatures/RelationshipsTransform.hpp"
#include "signatures/SignatureBounds.hpp"
#include "signatures/SignatureDocumentReader.hpp"
#include "signatures/SignatureDocumentWriter.hpp"
#include "signatures/SignatureForm.hpp"
#include "signatures/SignatureKeys.hpp"
#include "signatures/SigningClock.hpp"
#include "signatures/TrustedCertificates.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>

#include <optional>
#include <typeinfo>
#include <utility>

namespace opc::model {

namespace {

using Bytes = std::vector<unsigned char>;
using certificates::CertificateValidationOptions;
using certificates::PKCS12Certificate;
using certificates::TrustStore;
using certificates::X509Certificate;
using certificates::X509CertificateChain;
using ReferenceData = DigitalSignatureData::ReferenceData;

constexpr const char* KEY_DOES_NOT_VERIFY =
    "The verification key is invalid since the signature doesn't verify correctly after signing.";
constexpr const char* CERTIFICATE_DOES_NOT_VERIFY =
    "The signature doesn't verify correctly with the given certificate.";

void throwIfNothingIsAsked(const std::vector<PartName>& parts, const std::vector<RelationshipSelector>& selectors) {
    if (parts.empty() && selectors.empty())
        throw CouldNotGenerateSignature("No parts or relationships provided for signing.");
}

void throwIfKeyIsEmpty(const Bytes& key, const char* message) {
    if (key.empty())
        throw CouldNotGenerateSignature(message);
}

/// What is to be signed, with what was found of it in the package.
struct DataToSign {
    const SigningRequest& request;
    std::vector<PartName> names{}; ///< of the parts, as they are stored
    std::vector<Bytes> digests{};
    std::vector<ContentType> contentTypes{};
    std::vector<Relationship> relationships{};
};

std::vector<Bytes> computePartDigests(const Package& package, const std::vector<PartName>& parts, DigestMethod method) {
    PartDigester digester(package.getLimits().xmlSize);
    std::vector<Bytes> digests;
    digests.reserve(parts.size());
    try {
        for (const PartName& name : parts)
            digests.push_back(digester.digestPart(package.getPart(name), method));
    } catch (const Exception& e) {
        throw CouldNotGenerateSignature(std::string("Unable to compute digest. ") + e.what());
    }
    return digests;
}

/// Appends what one selector selects. Nothing is no error yet.
void appendSelected(const Package& package, const RelationshipSelector& selector, std::vector<Relationship>& out) {
    const std::u16string criteria = selector.getSelectionCriteria();
    withSource(package, selector.getSourceURI(), [&](const RelationshipSource& source) {
        if (selector.getSelectorType() == RelationshipSelectorType::ByType) {
            const auto found = source.getRelationshipsByType(criteria);
            out.insert(out.end(), found.begin(), found.end());
        } else if (source.hasRelationship(criteria)) {
            out.push_back(source.getRelationshipByID(criteria));
        }
    });
}

std::string toText(const RelationshipSelector& selector) {
    const bool isById = selector.getSelectorType() == RelationshipSelectorType::ById;
    return (isById ? "Relationship with ID " : "Relationship with Type ") +
           detail::toUTF8String(selector.getSelectionCriteria(), false);
}

void collectRelationships(const Package& package, DataToSign& data) {
    const RelationshipSelector* fruitless = nullptr;
    for (const RelationshipSelector& selector : data.request.selectors) {
        const std::size_t before = data.relationships.size();
        appendSelected(package, selector, data.relationships);
        if (data.relationships.size() == before)
            fruitless = &selector;
    }
    if (!data.request.selectors.empty() && data.relationships.empty())
        throw RelationshipNotFound("No relationships in the package matched the provided relationship selectors.");
    if (fruitless != nullptr) // the signature could not be loaded again
        throw CouldNotGenerateSignature(toText(*fruitless) + " is not present in " +
                                        toASCIIString(fruitless->getSourceURI().toString()));
}

DataToSign computeDataToSign(const Package& package, const SigningRequest& request, const SignatureParams& params) {
    DataToSign data{request};
    try {
        data.digests = computePartDigests(package, request.parts, params.getDigestMethod());
        for (const PartName& name : request.parts) {
            const Part part = package.getPart(name);
            data.names.push_back(part.getName());
            data.contentTypes.push_back(part.getContentType());
        }
        collectRelationships(package, data);
    } catch (const RelationshipNotFound&) {
        throw;
    } catch (const CouldNotGenerateSignature&) {
        throw;
    } catch (const Exception& e) {
        throw CouldNotGenerateSignature(e.what());
    }
    return data;
}

std::u16string toBase64(const Bytes& bytes) {
    return toString(crypto::CryptoEngine::encodeBase64(bytes));
}

void addPartReferences(const DataToSign& data, const std::u16string& digestMethod, DigitalSignatureData& signature) {
    for (std::size_t i = 0; i < data.names.size(); ++i) {
        ReferenceData reference;
        reference.uri = makeManifestURI(data.names[i].toString(), data.contentTypes[i].toString());
        reference.digestMethod = digestMethod;
        reference.digestValue = toBase64(data.digests[i]);
        signature.manifestReferences.push_back(std::move(reference));
    }
    signature.signedPartNames = data.names;
}

void addRelationshipReferences(const Package& package, const DataToSign& data, const std::u16string& digestMethod,
                               PartDigester& digester, DigitalSignatureData& signature) {
    for (const RelationshipSelector& selector : data.request.selectors)
        signature.relationshipSelectors[selector.getSourceURI()].push_back(selector);
    for (const auto& [source, selectors] : signature.relationshipSelectors) {
        ReferenceData reference;
        const PartName name =
            withSource(package, source, [](const RelationshipSource& of) { return of.getRelationshipsPartName(); });
        reference.uri = makeManifestURI(name.toString(), PackageHelper::getRelationshipContentType().toString());
        reference.digestMethod = digestMethod;
        for (const RelationshipSelector& selector : selectors)
            (selector.getSelectorType() == RelationshipSelectorType::ById ? reference.relationshipSourceIds
                                                                          : reference.relationshipSourceTypes)
                .push_back(selector.getSelectionCriteria());
        const auto selected = withSource(package, source, [&selectors = selectors](const RelationshipSource& of) {
            return selectRelationships(of, selectors);
        });
        signature.signedRelationships.insert(signature.signedRelationships.end(), selected.begin(), selected.end());
        reference.digestValue = toBase64(
            digester.digestBytes(transformRelationships(selected), signature.signatureParams.getDigestMethod()));
        signature.manifestReferences.push_back(std::move(reference));
    }
}

/// Cut to what its text holds, so that the signature says the same when it is loaded again.
void addSigningTime(DigitalSignatureData& signature) {
    const boost::posix_time::ptime now = signingTime();
    const auto time = now.time_of_day();
    signature.signedTime = {now.date(), boost::posix_time::time_duration(time.hours(), time.minutes(), 0)};
    signature.signatureProperties.push_back({u"#Signature" + signature.signatureId, signatureTimeId, minutesFormat,
                                             convertTimeToString(signature.signedTime, TimeForm::Minutes)});
}

void addPackageObject(const std::u16string& digestMethod, PartDigester& digester, DigitalSignatureData& signature) {
    const std::string text = SignatureDocumentWriter::makePackageObject(signature);
    signature.objects.push_back({packageObjectId, toString(text)});
    ReferenceData reference;
    reference.uri = URI(u"#" + std::u16string(packageObjectId));
    reference.type = libraryForm().objectReferenceType;
    reference.digestMethod = digestMethod;
    // It has no declaration of the XML-DSig namespace that would have to be taken out (`toDigestedText`).
    reference.digestValue = toBase64(digester.digestBytes(text, signature.signatureParams.getDigestMethod()));
    signature.signedInfoReferences.push_back(std::move(reference));
}

/// Everything but the signature value and the key.
std::shared_ptr<DigitalSignatureData> makeSignatureData(const Package& package, const std::u16string& id,
                                                        const DataToSign& data, const SignatureParams& params) {
    auto signature = std::make_shared<DigitalSignatureData>();
    signature->signatureId = id;
    signature->signatureParams = params;
    PartDigester digester(package.getLimits().xmlSize);
    const std::u16string digestMethod = AlgorithmURIMap::getAlgorithmURI(params.getDigestMethod());
    signature->canonicalizationMethod = AlgorithmURIMap::getAlgorithmURI(libraryForm().canonicalization);
    signature->signatureMethod =
        AlgorithmURIMap::getAlgorithmURI(params.getDigestMethod(), params.getSignatureMethod());
    addPartReferences(data, digestMethod, *signature);
    addRelationshipReferences(package, data, digestMethod, digester, *signature);
    addSigningTime(*signature);
    addPackageObject(digestMethod, digester, *signature);
    return signature;
}

void throwIfNotSignable(const std::u16string& id, const DataToSign& data) {
    if (id.empty())
        throw CouldNotGenerateSignature("Internal error: Empty signature ID received.");
    if (data.request.parts.empty() && data.relationships.empty())
        throw CouldNotGenerateSignature("Nothing to sign.");
    if (!data.request.parts.empty() && (data.digests.empty() || data.contentTypes.empty()))
        throw CouldNotGenerateSignature("Internal error: Signed parts' digests or content types cannot be empty.");
}

/// The key that signs, if it fits the parameters and belongs to the key that verifies.
crypto::RSAPrivateKey matchingPrivateKey(const Bytes& signingKey, const std::optional<crypto::RSAPublicKey>& publicKey,
                                         const SignatureParams& params, const char* mismatch) {
    crypto::RSAPrivateKey key = readPrivateKey(signingKey);
    if (!fitsParams(key.getKeySize(), params) || (publicKey && !fitsParams(publicKey->getKeySize(), params)))
        throw CouldNotGenerateSignature(KEY_DOES_NOT_FIT);
    if (publicKey && *publicKey != key.getPublicKey())
        throw CouldNotGenerateSignature(mismatch);
    return key;
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
    const auto results = certificate.validate(chain, options, trustedBy(trustStore));
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

/// Undoes a step, as far as it was done. The error that led here is the one that is reported.
template <class Action>
void takeBack(Action action) noexcept {
    try {
        action();
    } catch (...) { // NOLINT(bugprone-empty-catch)
    }
}

/// What the making of one signature creates in the package. Unless it is kept, it is taken back, and nothing else is:
/// what lies where it would be stored may be another's.
class Creation {
public:
    Creation(Package& package, const PartName& name, const std::u16string& relationshipId)
        : package_(package), name_(name), relationshipId_(relationshipId) {}

    Creation(const Creation&) = delete;
    Creation& operator=(const Creation&) = delete;

    ~Creation() {
        if (hasRelationship_)
            takeBack([&] { origin_->deleteRelationship(relationshipId_); });
        if (hasPart_)
            takeBack([&] { package_.deletePart(name_); });
        if (hasOrigin_)
            takeBack([&] { deleteOrigin(); });
    }

    /// The part that signature parts are related to; a new one in a package that has none.
    void fetchOrigin() {
        try {
            const auto origins = package_.getRelationshipsByType(form_.originRelationshipType);
            if (origins.empty())
                createOrigin();
            else
                origin_ = package_.getPart(PartName(origins.front().getTargetURI()));
        } catch (const Exception& e) {
            throw CouldNotGenerateSignature(std::string("Could not create/fetch signature origin part. ") + e.what());
        }
    }

    Part createPart() {
        try {
            if (origin_->hasRelationship(relationshipId_)) // before a part is made that would go again
                throw RelationshipAlreadyExists("Relationship ID already exists");
            const Part part = package_.createPart(name_, ContentType(form_.signatureContentType), StandardPartInfo());
            hasPart_ = true;
            origin_->createInternalRelationship(form_.signatureRelationshipType, name_.getURI(), relationshipId_);
            hasRelationship_ = true;
            return part;
        } catch (const Exception& e) {
            throw CouldNotGenerateSignature(std::string("Unable to create signature part. ") + e.what());
        }
    }

    void keep() noexcept { hasOrigin_ = hasPart_ = hasRelationship_ = false; }

private:
    void createOrigin() {
        const PartName name(form_.originPartName);
        origin_ = package_.createPart(name, ContentType(form_.originContentType), StandardPartInfo());
        hasOrigin_ = true;
        package_.createInternalRelationship(form_.originRelationshipType, name.getURI());
    }

    /// The package had no relationships of this type before.
    void deleteOrigin() {
        for (const Relationship& each : package_.getRelationshipsByType(form_.originRelationshipType))
            package_.deleteRelationship(each.getID());
        package_.deletePart(PartName(form_.originPartName));
    }

    Package& package_;
    const PartName name_;
    const std::u16string relationshipId_;
    const SignatureForm& form_ = libraryForm();
    std::optional<Part> origin_;
    bool hasOrigin_ = false; ///< made here, as the others
    bool hasPart_ = false;
    bool hasRelationship_ = false;
};

} // namespace

DigitalSignature DigitalSignatureManager::sign(const std::vector<PartName>& parts,
                                               const std::vector<RelationshipSelector>& selectors,
                                               const Bytes& signingKey, const SignatureParams& params) {
    throwIfNothingIsAsked(parts, selectors);
    return signHelper(signingKey, {}, params, {parts, selectors}, false);
}

DigitalSignature DigitalSignatureManager::sign(const std::vector<PartName>& parts,
                                               const std::vector<RelationshipSelector>& selectors,
                                               const Bytes& signingKey, const Bytes& verificationKey,
                                               const SignatureParams& params) {
    throwIfNothingIsAsked(parts, selectors);
    throwIfKeyIsEmpty(verificationKey, "The verification key is empty.");
    return signHelper(signingKey, verificationKey, params, {parts, selectors}, false);
}

DigitalSignature DigitalSignatureManager::sign(const std::vector<PartName>& parts,
                                               const std::vector<RelationshipSelector>& selectors,
                                               const Bytes& signingKey, const X509Certificate& certificate,
                                               const X509CertificateChain& chain,
                                               const CertificateValidationOptions& options,
                                               const SignatureParams& params, const TrustStore& trustStore) {
    throwIfNothingIsAsked(parts, selectors);
    return signHelper(signingKey, certificate, chain, options, params, trustStore, {parts, selectors}, false);
}

DigitalSignature DigitalSignatureManager::sign(const std::vector<PartName>& parts,
                                               const std::vector<RelationshipSelector>& selectors,
                                               const PKCS12Certificate& pkcs12,
                                               const CertificateValidationOptions& options,
                                               const SignatureParams& params, const TrustStore& trustStore) {
    throwIfNothingIsAsked(parts, selectors);
    return signHelper(pkcs12, options, params, trustStore, {parts, selectors}, false);
}

DigitalSignature DigitalSignatureManager::signPackage(const Bytes& signingKey, const SignatureParams& params) {
    const SigningRequest all = getAllPartsAndRels();
    return sign(all.parts, all.selectors, signingKey, params);
}

DigitalSignature DigitalSignatureManager::signPackage(const PKCS12Certificate& pkcs12,
                                                      const CertificateValidationOptions& options,
                                                      const SignatureParams& params, const TrustStore& trustStore) {
    const SigningRequest all = getAllPartsAndRels();
    return sign(all.parts, all.selectors, pkcs12, options, params, trustStore);
}

SigningRequest DigitalSignatureManager::getAllPartsAndRels() const {
    throwIfPackageNotOpen();
    SigningRequest request;
    const auto managedTypes = getPackage().getManagedRelationshipTypes();
    const auto addRelationships = [&](const RelationshipSource& source) {
        for (const Relationship& relationship : source.getRelationships())
            if (managedTypes.count(relationship.getType()) == 0)
                request.selectors.emplace_back(source.getSourceURI(), RelationshipSelectorType::ById,
                                               relationship.getID());
    };
    addRelationships(getPackage());
    for (const Part& part : getPackage().getParts(ExcludeMode::ExcludeManaged)) {
        request.parts.push_back(part.getName());
        addRelationships(part);
    }
    return request;
}

/// What a new signature is made of; all but the request may be empty.
struct DigitalSignatureManager::NewSignature {
    const Bytes& signingKey;
    Bytes verificationKey{};
    X509Certificate certificate{};
    X509CertificateChain chain{};
    const char* mismatch; ///< what a signing key is told that does not belong to the other
};

/// Makes a signature and writes it to its part.
DigitalSignature DigitalSignatureManager::makeSignature(const NewSignature& wish, const SignatureParams& params,
                                                        const SigningRequest& request, bool isCountersignature) {
    const DataToSign data = computeDataToSign(getPackage(), request, params);
    throwIfTooMuchIsSigned<CouldNotGenerateSignature>(signatures_, request.parts.size() + data.relationships.size());
    const std::u16string id = isCountersignature ? countersignatureId : getNextSignatureID();
    throwIfNotSignable(id, data);
    throwIfKeyLengthIsOff(wish.signingKey, wish.verificationKey, params);
    return translatingErrorsTo<CouldNotGenerateSignature>([&] {
        std::optional<crypto::RSAPublicKey> publicKey;
        if (!wish.certificate.isEmpty())
            publicKey = readPublicKey(wish.certificate);
        else if (!wish.verificationKey.empty())
            publicKey = readPublicKey(wish.verificationKey);
        const crypto::RSAPrivateKey key = matchingPrivateKey(wish.signingKey, publicKey, params, wish.mismatch);
        auto made = makeSignatureData(getPackage(), id, data, params);
        if (wish.certificate.isEmpty())
            made->publicKey = key.getPublicKey();
        made->certificate = wish.certificate;
        made->certificateChain = wish.chain;
        made->signatureValue = makeSignatureValue(*made, key);
        saveSignaturePart(DigitalSignature(made));
        made->partName = getSignaturePartName(DigitalSignature(made).getName()).toString();
        return DigitalSignature(std::move(made));
    });
}

DigitalSignature DigitalSignatureManager::signHelper(const Bytes& signingKey, const Bytes& verificationKey,
                                                     const SignatureParams& params, const SigningRequest& request,
                                                     bool isCountersignature) {
    throwIfKeyIsEmpty(signingKey, "The signing key is empty.");
    throwIfPackageNotOpenForModify();
    const DigitalSignature signature =
        makeSignature({signingKey, verificationKey, {}, {}, KEY_DOES_NOT_VERIFY}, params, request, isCountersignature);
    const Bytes publicKey = signature.getImpl()->publicKey->toDER();
    if (!translatingErrorsTo<CouldNotGenerateSignature>(
            [&] { return verifySignature(signature, publicKey).isValid(); }))
        throw CouldNotGenerateSignature(KEY_DOES_NOT_VERIFY);
    signatures_.push_back(signature);
    return signature;
}

DigitalSignature DigitalSignatureManager::signHelper(const Bytes& signingKey, const X509Certificate& certificate,
                                                     const X509CertificateChain& chain,
                                                     const CertificateValidationOptions& options,
                                                     const SignatureParams& params, const TrustStore& trustStore,
                                                     const SigningRequest& request, bool isCountersignature) {
    throwIfKeyIsEmpty(signingKey, "The signing key is empty.");
    throwIfPackageNotOpenForModify();
    translatingErrorsTo<CouldNotGenerateSignature>([&] {
        throwIfCertificateDoesNotFit(certificate, params);
        throwIfCertificateIsRefused(certificate, chain, options, trustStore);
    });
    const DigitalSignature signature = makeSignature({signingKey, {}, certificate, chain, CERTIFICATE_DOES_NOT_VERIFY},
                                                     params, request, isCountersignature);
    if (!translatingErrorsTo<CouldNotGenerateSignature>(
            [&] { return verifySignature(signature, certificate, chain, options, trustStore).isValid(); }))
        throw CouldNotGenerateSignature(CERTIFICATE_DOES_NOT_VERIFY);
    signatures_.push_back(signature);
    return signature;
}

DigitalSignature DigitalSignatureManager::signHelper(const PKCS12Certificate& pkcs12,
                                                     const CertificateValidationOptions& options,
                                                     const SignatureParams& params, const TrustStore& trustStore,
                                                     const SigningRequest& request, bool isCountersignature) {
    if (!pkcs12.hasPrivateKey())
        throw CouldNotGenerateSignature("The given PKCS12 bundle is invalid. No private key found.");
    if (!pkcs12.hasCertificate())
        throw CouldNotGenerateSignature("The given PKCS12 bundle is invalid. No certificate found.");
    const Bytes& key = pkcs12.getPrivateKey().get();
    const std::string wrongParams = "Invalid Signature parameters or PKCS12 Bundle provided. ";
    try {
        throwIfPackageNotOpenForModify();
        throwIfBundleIsInvalid(pkcs12);
        return signHelper(key, pkcs12.getCertificate(), pkcs12.getCertificateChain(), options, params, trustStore,
                          request, isCountersignature);
    } catch (const NotImplemented& e) {
        throw CouldNotGenerateSignature(wrongParams + e.what());
    } catch (const Exception& e) {
        if (typeid(e) == typeid(Exception)) // a length that keys of the parameters' size do not have
            throw CouldNotGenerateSignature(wrongParams + e.what());
        throw;
    }
}

void DigitalSignatureManager::saveSignaturePart(const DigitalSignature& signature) {
    const PartName name = getSignaturePartName(signature.getName());
    if (getPackage().hasPart(name))
        throw CouldNotGenerateSignature(
            "Internal Error: New signature should not have the same name as an existing one.");
    // The bytes come first, so that a signature that cannot be written creates nothing.
    const std::string text = SignatureDocumentWriter::makeDocument(*signature.getImpl());
    Creation creation(getPackage(), name, getSignatureRelationshipID(signature.getImpl()->signatureId));
    creation.fetchOrigin();
    replaceItem(*creation.createPart().getOutputStream(), Bytes(text.begin(), text.end()));
    creation.keep();
}

} // namespace opc::model
