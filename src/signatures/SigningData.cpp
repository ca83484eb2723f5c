// SPDX-License-Identifier: Apache-2.0
#include "signatures/SigningData.hpp"

#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>

#include "signatures/Base64.hpp"
#include "signatures/ManifestTarget.hpp"
#include "signatures/PartDigester.hpp"
#include "signatures/RelationshipsTransform.hpp"
#include "signatures/SignatureDocumentWriter.hpp"
#include "signatures/SigningClock.hpp"
#include "signatures/StandardSignatureWriter.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>

#include <utility>

namespace opc::model {

namespace {

using Bytes = std::vector<unsigned char>;
using ReferenceData = DigitalSignatureData::ReferenceData;

void digestAhead(const Package& package, const SignatureFormRules& form, const std::vector<PartName>& parts,
                 DigestMethod method, PartDigester& digester) {
    std::vector<PartDigester::Wanted> wanted;
    for (const PartName& name : parts)
        if (package.hasPart(name))
            wanted.push_back({package.getPart(name), method});
    digester.digestAhead(wanted, form.form);
}

std::vector<Bytes> computePartDigests(const Package& package, const SignatureFormRules& form,
                                      const std::vector<PartName>& parts, DigestMethod method) {
    PartDigester digester(package);
    std::vector<Bytes> digests;
    digests.reserve(parts.size());
    try {
        if (digester.isParallel())
            digestAhead(package, form, parts, method, digester);
        for (const PartName& name : parts)
            digests.push_back(digester.digestPart(package.getPart(name), method, form.form));
    } catch (const Exception& e) {
        throw CouldNotGenerateSignature(std::string("Unable to compute digest. ") + e.what());
    }
    return digests;
}

/// Appends what one selector selects, which may be nothing.
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

void collectRelationships(const Package& package, DataToSign& data) {
    const RelationshipSelector* unmatched = nullptr;
    for (const RelationshipSelector& selector : data.request.selectors) {
        const std::size_t before = data.relationships.size();
        appendSelected(package, selector, data.relationships);
        if (data.relationships.size() == before)
            unmatched = &selector;
    }
    if (!data.request.selectors.empty() && data.relationships.empty())
        throw RelationshipNotFound("No relationships in the package matched the provided relationship selectors.");
    if (unmatched != nullptr) // the signature could not be loaded again
        throw CouldNotGenerateSignature(describe(*unmatched) + " is not present in " +
                                        toASCIIString(unmatched->getSourceURI().toString()));
}

/// What the steps of making one signature share.
struct Making {
    const Package& package;
    const SignatureFormRules& form;
    const SigningMaterial& material;
    DigitalSignatureData& signature;
    PartDigester digester{package};
    std::u16string digestMethod = AlgorithmURIMap::getAlgorithmURI(material.digestMethod);

    std::u16string digest(const std::string& octets) {
        return toBase64(digester.digestBytes(octets, material.digestMethod));
    }
};

void addPartReferences(const DataToSign& data, Making& making) {
    const auto makeURI = making.form.isStandard() ? makeEscapedManifestURI : makeManifestURI;
    for (std::size_t i = 0; i < data.names.size(); ++i) {
        ReferenceData reference;
        reference.uri = makeURI(data.names[i].toString(), data.contentTypes[i].toString());
        reference.digestMethod = making.digestMethod;
        reference.digestValue = toBase64(data.digests[i]);
        making.signature.manifestReferences.push_back(std::move(reference));
    }
    making.signature.signedPartNames = data.names;
}

void addRelationshipReferences(const DataToSign& data, Making& making) {
    DigitalSignatureData& signature = making.signature;
    const Package& package = making.package;
    for (const RelationshipSelector& selector : data.request.selectors)
        signature.relationshipSelectors[selector.getSourceURI()].push_back(selector);
    for (const auto& [source, selectors] : signature.relationshipSelectors) {
        ReferenceData reference;
        const PartName name =
            withSource(package, source, [](const RelationshipSource& of) { return of.getRelationshipsPartName(); });
        reference.uri = makeManifestURI(name.toString(), PackageHelper::getRelationshipContentType().toString());
        reference.digestMethod = making.digestMethod;
        if (making.form.isStandard())
            reference.transforms = {making.form.relationshipTransform, signature.canonicalizationMethod};
        for (const RelationshipSelector& selector : selectors)
            (selector.getSelectorType() == RelationshipSelectorType::ById ? reference.relationshipSourceIds
                                                                          : reference.relationshipSourceTypes)
                .push_back(selector.getSelectionCriteria());
        const auto selected = withSource(package, source, [&, &selectors = selectors](const RelationshipSource& of) {
            return selectRelationships(of, selectors, making.form);
        });
        signature.signedRelationships.insert(signature.signedRelationships.end(), selected.begin(), selected.end());
        reference.digestValue = making.digest(transformRelationships(selected));
        signature.manifestReferences.push_back(std::move(reference));
    }
}

/// Truncated to the precision of its text, so that the signature has the same time when it is loaded again.
void addSigningTime(Making& making) {
    DigitalSignatureData& signature = making.signature;
    const bool hasSeconds = making.form.isStandard();
    const boost::posix_time::ptime now = signingTime();
    const auto time = now.time_of_day();
    signature.signedTime = {
        now.date(), boost::posix_time::time_duration(time.hours(), time.minutes(), hasSeconds ? time.seconds() : 0)};
    if (hasSeconds)
        signature.signatureProperties.push_back({u"#" + std::u16string(STANDARD_SIGNATURE_ID), SIGNATURE_TIME_ID,
                                                 SECONDS_FORMAT, convertTimeToString(signature.signedTime)});
    else
        signature.signatureProperties.push_back({u"#Signature" + signature.signatureId, SIGNATURE_TIME_ID,
                                                 MINUTES_FORMAT,
                                                 convertTimeToString(signature.signedTime, TimeForm::Minutes)});
}

/// @param octets what the reference digests.
void addReferenceTo(const std::u16string& id, const char16_t* type, const std::string& octets, Making& making) {
    ReferenceData reference;
    reference.uri = URI(u"#" + id);
    reference.type = type;
    reference.digestMethod = making.digestMethod;
    reference.digestValue = making.digest(octets);
    making.signature.signedInfoReferences.push_back(std::move(reference));
}

/// The text has no declaration of the XML-DSig namespace to be removed (`forEachDigestedBlock`).
void addPackageObject(Making& making) {
    const std::string text = SignatureDocumentWriter::makePackageObject(making.signature);
    making.signature.objects.push_back({PACKAGE_OBJECT_ID, toString(text)});
    addReferenceTo(PACKAGE_OBJECT_ID, making.form.objectReferenceType, text, making);
}

void addElement(const std::u16string& id, const char16_t* type, std::string octets, Making& making) {
    addReferenceTo(id, type, octets, making);
    making.signature.standard.elements.emplace(id, std::move(octets));
}

/// The basic properties of XAdES §4.4.1.
void addSignedProperties(Making& making) {
    auto& standard = making.signature.standard;
    const auto& certificate = making.material.certificate;
    standard.hasProperties = standard.arePropertiesSigned = true;
    standard.properties.id = SIGNED_PROPERTIES_ID;
    standard.properties.policy = u"implied";
    standard.properties.signingTime = making.signature.signedTime;
    standard.properties.signingTimeText = making.signature.signatureProperties.front().value;
    if (!certificate.isEmpty()) {
        const std::vector<unsigned char>& der = certificate.toDER();
        standard.properties.certificates.push_back({making.digestMethod, making.digest({der.begin(), der.end()}),
                                                    toString(certificate.getIssuer(), false),
                                                    toString(certificate.getDecimalSerialNumber())});
    }
    addElement(SIGNED_PROPERTIES_ID, u"http://uri.etsi.org/01903#SignedProperties",
               makeSignedProperties(making.signature), making);
    making.signature.signedInfoReferences.back().transforms = {making.signature.canonicalizationMethod};
}

void addStandardObjects(Making& making) {
    DigitalSignatureData& signature = making.signature;
    signature.standard.documentId = STANDARD_SIGNATURE_ID;
    signature.objects.push_back({PACKAGE_OBJECT_ID, {}});
    addElement(PACKAGE_OBJECT_ID, making.form.objectReferenceType, makeStandardPackageObject(signature), making);
    if (making.form.form == SignatureForm::Office) {
        signature.objects.push_back({OFFICE_OBJECT_ID, {}});
        addElement(OFFICE_OBJECT_ID, making.form.objectReferenceType,
                   makeOfficeObject(making.digestMethod, making.material.comments), making);
        signature.objects.push_back({});
        addSignedProperties(making);
    }
    signature.standard.signedInfo = makeStandardSignedInfo(signature);
}

void addMethod(Making& making) {
    const SigningMaterial& material = making.material;
    DigitalSignatureData& signature = making.signature;
    if (making.form.isStandard()) {
        auto& standard = signature.standard;
        standard.algorithm = SignatureAlgorithm::of(material.key.getKind(), material.digestMethod);
        standard.algorithm.keySize = material.key.getKeySize();
        signature.signatureMethod = standard.algorithm.identifier;
        if (material.certificate.isEmpty())
            standard.keyValue = material.key;
    } else {
        signature.signatureParams = {material.digestMethod, toSignatureMethod(material.key.getKeySize())};
        signature.signatureMethod =
            AlgorithmURIMap::getAlgorithmURI(material.digestMethod, signature.signatureParams.getSignatureMethod());
        if (material.certificate.isEmpty())
            signature.publicKey = crypto::RSAPublicKey::fromDER(material.key.toDER());
    }
    signature.certificate = material.certificate;
    signature.certificateChain = material.chain;
}

} // namespace

DataToSign computeDataToSign(const Package& package, const SignatureFormRules& form, const SigningRequest& request,
                             DigestMethod digestMethod) {
    DataToSign data{request};
    try {
        data.digests = computePartDigests(package, form, request.parts, digestMethod);
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

std::shared_ptr<DigitalSignatureData> makeSignatureData(const Package& package, const SignatureFormRules& form,
                                                        const std::u16string& id, const DataToSign& data,
                                                        const SigningMaterial& material) {
    auto signature = std::make_shared<DigitalSignatureData>();
    signature->form = form.form;
    signature->signatureId = id;
    signature->canonicalizationMethod = AlgorithmURIMap::getAlgorithmURI(form.canonicalization);
    Making making{package, form, material, *signature};
    addMethod(making);
    addPartReferences(data, making);
    addRelationshipReferences(data, making);
    addSigningTime(making);
    if (form.isStandard())
        addStandardObjects(making);
    else
        addPackageObject(making);
    return signature;
}

std::string getOctetsToSign(const DigitalSignatureData& signature) {
    if (rulesOf(signature.form).isStandard())
        return signature.standard.signedInfo;
    return SignatureDocumentWriter::makeSignedInfo(signature, SignedInfoForm::Canonical);
}

std::string makeSignatureDocument(const DigitalSignatureData& signature) {
    return rulesOf(signature.form).isStandard() ? makeStandardSignature(signature)
                                                : SignatureDocumentWriter::makeDocument(signature);
}

} // namespace opc::model
