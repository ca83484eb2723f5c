// SPDX-License-Identifier: Apache-2.0
#include "signatures/ReferenceExaminer.hpp"

#include "model/ItemBytes.hpp"
#include "signatures/Base64.hpp"
#include "signatures/ManifestTarget.hpp"
#include "signatures/ObjectText.hpp"
#include "signatures/RelationshipsTransform.hpp"
#include "signatures/SignatureFormRules.hpp"
#include "xml/CanonicalXml.hpp"
#include "xml/PlainXml.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <algorithm>
#include <set>
#include <utility>

namespace opc::model {

namespace {

using ReferenceData = DigitalSignatureData::ReferenceData;

/// Thrown to end an examination with a fault.
struct Finding {
    ReferenceVerdict verdict;
    std::string problem;
};

ReferenceReport startReport(const ReferenceData& reference, ReferenceKind kind) {
    ReferenceReport report;
    report.kind = kind;
    report.uri = reference.uri.toString();
    report.digestMethod = reference.digestMethod;
    report.claimedDigest = reference.digestValue;
    report.transforms = reference.transforms;
    return report;
}

/// Runs an examination and records its outcome in the report.
template <class Action>
void recordOutcome(ReferenceReport& report, Action action) {
    try {
        action();
    } catch (const Finding& finding) {
        report.verdict = finding.verdict;
        report.problem = finding.problem;
    } catch (const Exception& e) {
        report.verdict = ReferenceVerdict::NotReadable;
        report.problem = e.what();
    }
}

DigestMethod digestMethodOf(const ReferenceData& reference) {
    try {
        return AlgorithmURIMap::getDigestMethod(reference.digestMethod);
    } catch (const Exception&) {
        throw Finding{ReferenceVerdict::NotSupported,
                      "the digest method is not known: " + detail::toUTF8String(reference.digestMethod, false)};
    }
}

void compareDigests(const std::vector<unsigned char>& found, ReferenceReport& report) {
    report.foundDigest = toBase64(found);
    if (report.claimedDigest == report.foundDigest)
        return;
    const auto claimed = fromBase64(report.claimedDigest); // which may contain white space
    if (!claimed)
        throw Finding{ReferenceVerdict::DigestDiffers, "the digest in the signature is not base64"};
    if (*claimed != found)
        throw Finding{ReferenceVerdict::DigestDiffers, "this is not what was signed: the digests differ"};
}

/// The normal form of a content type; the text itself when it is not a content type.
std::u16string normalized(const std::u16string& contentType) {
    try {
        return ContentType(contentType).toString();
    } catch (const InvalidContentType&) {
        return contentType;
    }
}

void compareContentTypes(const std::u16string& claimed, const std::u16string& found, ReferenceReport& report) {
    report.claimedContentType = claimed;
    report.foundContentType = found;
    if (claimed.empty())
        throw Finding{ReferenceVerdict::NotSupported, "the reference names no content type"};
    if (claimed == found && found.find(u';') == std::u16string::npos) // the usual case, and surely in normal form
        return;
    const std::u16string signedType = normalized(claimed);
    if (signedType != found)
        throw Finding{ReferenceVerdict::ContentTypeDiffers,
                      "the content type is " + detail::toUTF8String(found, false) + " and was " +
                          detail::toUTF8String(claimed, false) + " when it was signed" +
                          (caselessCompare(signedType, found) == 0 ? ", which differs in the case of letters" : "")};
}

/// The name of a signature, which is not signed, tells whether it is the countersignature. The signed target of its
/// properties has to agree.
void throwIfMisnamed(const DigitalSignatureData& signature) {
    const std::u16string target = signature.signatureProperties.empty() ? u"" : signature.signatureProperties[0].target;
    const bool isMeant = target == std::u16string(u"#Signature") + COUNTERSIGNATURE_ID;
    if (isMeant == (signature.signatureId == COUNTERSIGNATURE_ID))
        return;
    const std::string signedAs = ", but its signed Target is " + detail::toUTF8String(target, false);
    throw Finding{ReferenceVerdict::Misnamed,
                  isMeant ? "the name of the signature is not that of the countersignature" + signedAs
                          : "the name of the signature is that of the countersignature" + signedAs};
}

/// Names that differ in case are equivalent, but some readers compare them exactly.
void throwIfRenamed(const PartName& claimed, const PartName& found) {
    if (claimed.toString() != found.toString())
        throw Finding{ReferenceVerdict::Misnamed, "the name is " + detail::toUTF8String(found.toString(), false) +
                                                      " and was " + detail::toUTF8String(claimed.toString(), false) +
                                                      " when it was signed"};
}

/// The name and the content type of a relationships part.
std::pair<PartName, std::u16string> describeRelationshipsPart(const RelationshipSource& source) {
    try {
        return {source.getRelationshipsPartName(), source.getRelationshipsContentType().toString()};
    } catch (const Exception& e) {
        throw Finding{ReferenceVerdict::NotReadable, std::string("Unable to compute digest. ") + e.what()};
    }
}

void throwIfTransformed(const ReferenceData& reference) {
    if (!reference.transforms.empty() || !reference.relationshipSourceIds.empty() ||
        !reference.relationshipSourceTypes.empty())
        throw Finding{ReferenceVerdict::NotSupported, "the reference has transforms, which do not apply to it"};
}

/// Canonicalization does not change the output of a relationships transform, so it is accepted.
void throwIfTransformIsUnknown(const ReferenceData& reference, const SignatureFormRules& form) {
    for (const std::u16string& transform : reference.transforms)
        if (transform != CANONICAL_XML && !(form.isStandard() && transform == CANONICAL_XML_WITH_COMMENTS) &&
            !form.isRelationshipTransform(transform))
            throw Finding{ReferenceVerdict::NotSupported,
                          "a transform is not known: " + detail::toUTF8String(transform, false)};
}

/// Whether a reference to a relationships part digests all of it, not relationships that it selects.
bool coversWholePart(const ReferenceData& reference, const SignatureFormRules& form) {
    return form.isStandard() && std::none_of(
                                    reference.transforms.begin(), reference.transforms.end(),
                                    [&form](const auto& each) { return form.isRelationshipTransform(each); });
}

/// The text of an object, of which the library's form digests a part.
const std::u16string& objectText(const DigitalSignatureData& signature, const std::u16string& id) {
    const auto found = std::find_if(signature.objects.begin(), signature.objects.end(),
                                    [&id](const auto& object) { return object.id == id; });
    if (found == signature.objects.end())
        throw InvalidSignature("XML signature: Could not find referenced object " + detail::toUTF8String(id, false));
    return found->xmlBytes;
}

/// The canonical form of an element that the standard forms digest.
const std::string& elementOf(const DigitalSignatureData& signature, const std::u16string& id) {
    const auto found = signature.standard.elements.find(id);
    if (found == signature.standard.elements.end())
        throw InvalidSignature("XML signature: Could not find referenced element " + detail::toUTF8String(id, false));
    return found->second;
}

std::vector<unsigned char> toBytes(const std::string& text) {
    return {text.begin(), text.end()};
}

std::vector<unsigned char> readPart(const Part& part) {
    std::vector<unsigned char> bytes;
    readItem(*part.getInputStream(), [&bytes](const unsigned char* data, std::size_t size) {
        bytes.insert(bytes.end(), data, data + size);
        return true;
    });
    return bytes;
}

/// The bytes, or the canonical form of the XML that they are when the reference has a transform.
std::string canonicalOctets(const std::vector<unsigned char>& bytes, const ReferenceData& reference,
                            const Limits& limits) {
    if (reference.transforms.empty())
        return {bytes.begin(), bytes.end()};
    if (bytes.size() > limits.xmlSize)
        throw Exception("The part has more than " + std::to_string(limits.xmlSize) + " bytes");
    const bool comments = reference.transforms.front() == CANONICAL_XML_WITH_COMMENTS;
    const ParserHandle parser = XercesHelper::createParser(limits);
    ByteArrayInAdaptor stream(bytes);
    const auto* document = XercesHelper::readDocumentFromStream(*parser, stream, false, u"", u"");
    if (!isPlainXml(bytes, *document))
        throw Exception("it is canonicalized, but is not XML 1.0 in UTF-8 throughout");
    return canonicalizeDocument(*document, comments ? CanonicalComments::Keep : CanonicalComments::Omit);
}

std::string describe(RelationshipsReading reading) {
    return reading == RelationshipsReading::WhiteSpace
               ? "as LibreOffice reads white space"
               : "without the TargetMode of internal relationships, as the first edition of the standard has it";
}

/// A selected relationship that is no longer there tells more than a digest that differs.
void throwIfSelectionIsAbsent(const ReferenceData& reference, const RelationshipSource& source) {
    for (const std::u16string& id : reference.relationshipSourceIds)
        if (!source.hasRelationship(id))
            throw Finding{ReferenceVerdict::Missing,
                          "the relationship " + detail::toUTF8String(id, false) + " is not in the package any longer"};
}

} // namespace

ReferenceExaminer::ReferenceExaminer(const Package& package, bool strict, ReportDetail detail)
    : package_(package), strict_(strict), detail_(detail), digester_(package) {}

std::vector<ReferenceReport> ReferenceExaminer::examine(const DigitalSignatureData& signature) {
    const SignatureFormRules& form = rulesOf(signature.form);
    std::vector<ReferenceReport> reports;
    if (detail_ == ReportDetail::Full)
        reports.reserve(signature.signedInfoReferences.size() + signature.manifestReferences.size());
    if (digester_.isParallel())
        digestAhead(signature);
    for (const ReferenceData& reference : signature.signedInfoReferences)
        reports.push_back(examineObject(reference, signature, form));
    for (const ReferenceData& reference : signature.manifestReferences) {
        ReferenceReport report = examineEntry(reference, form);
        if (detail_ == ReportDetail::Full || !report.holds())
            reports.push_back(std::move(report));
    }
    return reports;
}

void ReferenceExaminer::digestAhead(const DigitalSignatureData& signature) {
    std::vector<PartDigester::Wanted> wanted;
    for (const ReferenceData& reference : signature.manifestReferences) {
        try {
            const PartName name = ManifestTarget::of(reference.uri).name;
            if (reference.transforms.empty() && package_.hasPart(name))
                wanted.push_back({package_.getPart(name), AlgorithmURIMap::getDigestMethod(reference.digestMethod)});
        } catch (const Exception&) { // NOLINT(bugprone-empty-catch): it gets its report when it is examined
        }
    }
    digester_.digestAhead(wanted, signature.form);
}

std::vector<std::u16string> ReferenceExaminer::findUncoveredObjects(const DigitalSignatureData& signature) {
    std::set<std::u16string> covered;
    for (const ReferenceData& reference : signature.signedInfoReferences)
        covered.insert(reference.uri.getFragment());
    std::vector<std::u16string> uncovered;
    for (const auto& object : signature.objects)
        if (covered.count(object.id) == 0 && !(object.isXades && signature.standard.arePropertiesSigned))
            uncovered.push_back(object.id);
    return uncovered;
}

ReferenceReport ReferenceExaminer::examineObject(const ReferenceData& reference, const DigitalSignatureData& signature,
                                                 const SignatureFormRules& form) {
    ReferenceReport report = startReport(reference, ReferenceKind::Object);
    report.target = reference.uri.getFragment();
    recordOutcome(report, [&] {
        if (form.isStandard()) {
            const std::string& octets = elementOf(signature, report.target);
            return compareDigests(digester_.digestBytes(octets, digestMethodOf(reference)), report);
        }
        const std::u16string& text = objectText(signature, report.target);
        throwIfTransformed(reference);
        compareDigests(digester_.digestObject(text, digestMethodOf(reference)), report);
        if (report.target == PACKAGE_OBJECT_ID)
            throwIfMisnamed(signature);
    });
    return report;
}

ReferenceReport ReferenceExaminer::examineEntry(const ReferenceData& reference, const SignatureFormRules& form) {
    ReferenceReport report = startReport(reference, ReferenceKind::Part);
    recordOutcome(report, [&] {
        const ManifestTarget target = ManifestTarget::of(reference.uri);
        report.claimedContentType = target.contentType;
        report.target = target.name.toString();
        if (reference.uri.hasFragment())
            throw Finding{ReferenceVerdict::NotSupported, "the reference has a fragment"};
        target.isRelationships() ? examineRelationships(reference, target.name, form, report)
                                 : examinePart(reference, target.name, form, report);
    });
    return report;
}

/// Each part is canonicalized once, however many signatures name it.
template <class Read>
const std::vector<unsigned char>& ReferenceExaminer::digestCanonical(const PartName& name,
                                                                     const ReferenceData& reference,
                                                                     DigestMethod method, Read read) {
    CanonicalKey key{toLowerASCIIString(name.toString()), reference.transforms, method};
    const auto known = canonicalDigests_.find(key);
    if (known != canonicalDigests_.end())
        return known->second;
    auto digest = digester_.digestBytes(canonicalOctets(read(), reference, package_.getLimits()), method);
    return canonicalDigests_.emplace(std::move(key), std::move(digest)).first->second;
}

void ReferenceExaminer::examinePart(const ReferenceData& reference, const PartName& name,
                                    const SignatureFormRules& form, ReferenceReport& report) {
    if (!package_.hasPart(name))
        throw Finding{ReferenceVerdict::Missing, "the part is not in the package any longer"};
    const Part part = package_.getPart(name);
    throwIfRenamed(name, part.getName());
    if (form.isStandard())
        throwIfTransformIsUnknown(reference, form);
    else
        throwIfTransformed(reference);
    compareContentTypes(report.claimedContentType, part.getContentType().toString(), report);
    const DigestMethod method = digestMethodOf(reference);
    try {
        compareDigests(reference.transforms.empty() ? digester_.digestPart(part, method, form.form)
                                                    : digestCanonical(
                                                          name, reference, method, [&] { return readPart(part); }),
                       report);
    } catch (const Exception& e) {
        throw Finding{ReferenceVerdict::NotReadable, std::string("Unable to compute digest. ") + e.what()};
    }
}

void ReferenceExaminer::examineRelationships(const ReferenceData& reference, const PartName& name,
                                             const SignatureFormRules& form, ReferenceReport& report) {
    report.kind = ReferenceKind::Relationships;
    report.target = name.getSourcePartName();
    const URI source(report.target);
    report.selectors = selectorsOf(reference, source);
    if (report.selectors.empty() && !coversWholePart(reference, form))
        throw Finding{ReferenceVerdict::NotSupported, "the reference does not say which relationships it covers"};
    if (!PartName::isPackageRootUri(source) && !package_.hasPart(PartName(source)))
        throw Finding{ReferenceVerdict::Missing, "the part with these relationships is not in the package any longer"};
    throwIfTransformIsUnknown(reference, form);
    withSource(package_, source, [&](const RelationshipSource& of) {
        const auto [foundName, contentType] = describeRelationshipsPart(of);
        throwIfRenamed(name, foundName);
        compareContentTypes(report.claimedContentType, contentType, report);
        if (coversWholePart(reference, form)) {
            report.relationships = of.getRelationships();
            const auto read = [&of = of] { return of.readRelationshipsPart(); };
            return compareDigests(digestCanonical(name, reference, digestMethodOf(reference), read), report);
        }
        report.relationships = selectRelationships(of, report.selectors, form);
        compareRelationships(reference, of, form, report);
    });
}

void ReferenceExaminer::compareRelationships(const ReferenceData& reference, const RelationshipSource& source,
                                             const SignatureFormRules& form, ReferenceReport& report) {
    const DigestMethod method = digestMethodOf(reference);
    const auto claimed = fromBase64(report.claimedDigest);
    const auto found = digestRelationships(source, RelationshipsReading::AsStandard, method, report);
    if (!form.isStandard() || !claimed || found == *claimed)
        return compareDigests(found, report);
    for (const RelationshipsReading reading : {RelationshipsReading::DefaultMode, RelationshipsReading::WhiteSpace})
        if (digestRelationships(source, reading, method, report) == *claimed) {
            report.reading = reading;
            report.remark = describe(reading);
            return compareDigests(strict_ ? found : *claimed, report);
        }
    throwIfSelectionIsAbsent(reference, source);
    compareDigests(found, report);
}

std::vector<unsigned char> ReferenceExaminer::digestRelationships(const RelationshipSource& source,
                                                                  RelationshipsReading reading, DigestMethod method,
                                                                  const ReferenceReport& report) {
    const bool hasWhiteSpaces = reading == RelationshipsReading::WhiteSpace && !report.relationships.empty();
    const std::size_t whiteSpaces = hasWhiteSpaces ? countWhiteSpacesOf(source) : 0;
    return digester_.digestBytes(transformRelationships(report.relationships, reading, whiteSpaces), method);
}

/// Each relationships part is read for that once.
std::size_t ReferenceExaminer::countWhiteSpacesOf(const RelationshipSource& source) {
    const std::u16string name = source.getSourceURI().toString();
    const auto known = whiteSpaces_.find(name);
    if (known != whiteSpaces_.end())
        return known->second;
    const std::size_t count = countWhiteSpaces(source.readRelationshipsPart(), package_.getLimits());
    return whiteSpaces_[name] = count;
}

std::vector<unsigned char> ReferenceExaminer::octetsOf(const DigitalSignatureData& signature, std::size_t index) const {
    const auto& inSignedInfo = signature.signedInfoReferences;
    if (index < inSignedInfo.size()) {
        const std::u16string id = inSignedInfo[index].uri.getFragment();
        if (signature.form != SignatureForm::Library)
            return toBytes(elementOf(signature, id));
        std::string octets;
        forEachDigestedBlock(objectText(signature, id), [&octets](std::string_view block) { octets += block; });
        return toBytes(octets);
    }
    index -= inSignedInfo.size();
    if (index >= signature.manifestReferences.size())
        throw InvalidSignature("The signature has no such reference.");
    const ReferenceData& reference = signature.manifestReferences[index];
    const SignatureFormRules& form = rulesOf(signature.form);
    const ManifestTarget target = ManifestTarget::of(reference.uri);
    if (!target.isRelationships()) {
        std::string octets = canonicalOctets(readPart(package_.getPart(target.name)), reference, package_.getLimits());
        if (!form.isStandard() && target.name == PartName(PackageHelper::getCorePropertiesURI()))
            removeKeywords(octets, package_.getLimits());
        return toBytes(octets);
    }
    const URI source(target.name.getSourcePartName());
    return withSource(package_, source, [&](const RelationshipSource& of) {
        return toBytes(coversWholePart(reference, form)
                           ? canonicalOctets(of.readRelationshipsPart(), reference, package_.getLimits())
                           : transformRelationships(selectRelationships(of, selectorsOf(reference, source), form)));
    });
}

} // namespace opc::model
