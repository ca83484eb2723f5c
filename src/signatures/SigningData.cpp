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

#include <boost/date_time/posix_time/posix_time.hpp>

#include <utility>

namespace opc::model {

namespace {

using Bytes = std::vector<unsigned char>;
using ReferenceData = DigitalSignatureData::ReferenceData;

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
        const auto selected = withSource(package, source, [&, &selectors = selectors](const RelationshipSource& of) {
            return selectRelationships(of, selectors, rulesOf(signature.form));
        });
        signature.signedRelationships.insert(signature.signedRelationships.end(), selected.begin(), selected.end());
        reference.digestValue = toBase64(
            digester.digestBytes(transformRelationships(selected), signature.signatureParams.getDigestMethod()));
        signature.manifestReferences.push_back(std::move(reference));
    }
}

/// Truncated to the precision of its text, so that the signature has the same time when it is loaded again.
void addSigningTime(DigitalSignatureData& signature) {
    const boost::posix_time::ptime now = signingTime();
    const auto time = now.time_of_day();
    signature.signedTime = {now.date(), boost::posix_time::time_duration(time.hours(), time.minutes(), 0)};
    signature.signatureProperties.push_back({u"#Signature" + signature.signatureId, SIGNATURE_TIME_ID, MINUTES_FORMAT,
                                             convertTimeToString(signature.signedTime, TimeForm::Minutes)});
}

void addPackageObject(const SignatureFormRules& form, const std::u16string& digestMethod, PartDigester& digester,
                      DigitalSignatureData& signature) {
    const std::string text = SignatureDocumentWriter::makePackageObject(signature);
    signature.objects.push_back({PACKAGE_OBJECT_ID, toString(text)});
    ReferenceData reference;
    reference.uri = URI(u"#" + std::u16string(PACKAGE_OBJECT_ID));
    reference.type = form.objectReferenceType;
    reference.digestMethod = digestMethod;
    // The text has no declaration of the XML-DSig namespace to be removed (`toDigestedText`).
    reference.digestValue = toBase64(digester.digestBytes(text, signature.signatureParams.getDigestMethod()));
    signature.signedInfoReferences.push_back(std::move(reference));
}

} // namespace

DataToSign computeDataToSign(const Package& package, const SigningRequest& request, DigestMethod digestMethod) {
    DataToSign data{request};
    try {
        data.digests = computePartDigests(package, request.parts, digestMethod);
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
                                                        const SignatureParams& params) {
    auto signature = std::make_shared<DigitalSignatureData>();
    signature->form = form.form;
    signature->signatureId = id;
    signature->signatureParams = params;
    PartDigester digester(package.getLimits().xmlSize);
    const std::u16string digestMethod = AlgorithmURIMap::getAlgorithmURI(params.getDigestMethod());
    signature->canonicalizationMethod = AlgorithmURIMap::getAlgorithmURI(form.canonicalization);
    signature->signatureMethod =
        AlgorithmURIMap::getAlgorithmURI(params.getDigestMethod(), params.getSignatureMethod());
    addPartReferences(data, digestMethod, *signature);
    addRelationshipReferences(package, data, digestMethod, digester, *signature);
    addSigningTime(*signature);
    addPackageObject(form, digestMethod, digester, *signature);
    return signature;
}

} // namespace opc::model
