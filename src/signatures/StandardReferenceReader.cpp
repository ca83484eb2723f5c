// SPDX-License-Identifier: Apache-2.0
#include "signatures/StandardReferenceReader.hpp"

#include "signatures/CanonicalizationMethods.hpp"
#include "signatures/SignatureElements.hpp"
#include "xml/ChildElements.hpp"

#include <opc/core/Characters.hpp>
#include <opc/errors/Errors.hpp>

#include <algorithm>
#include <iterator>
#include <utility>

namespace opc::model {

namespace {

using xercesc::DOMElement;
using ReferenceData = DigitalSignatureData::ReferenceData;

constexpr std::u16string_view RELATIONSHIPS_TRANSFORMS[] = {
    u"http://schemas.openxmlformats.org/package/2006/RelationshipTransform",
    u"http://schemas.openxmlformats.org/package/2005/06/RelationshipTransform",
};

/// What XML-DSig has and packages may not use, by how the identifiers start.
constexpr std::pair<std::u16string_view, const char*> OTHER_TRANSFORMS[] = {
    {u"http://www.w3.org/2001/10/xml-exc-c14n", "exclusive canonicalization"},
    {u"http://www.w3.org/2006/12/xml-c14n11", "Canonical XML 1.1"},
    {u"http://www.w3.org/2010/xml-c14n2", "Canonical XML 2.0"},
    {u"http://www.w3.org/TR/1999/REC-xpath-19991116", "XPath"},
    {u"http://www.w3.org/2002/06/xmldsig-filter2", "XPath Filter 2.0"},
    {u"http://www.w3.org/TR/1999/REC-xslt-19991116", "XSLT"},
    {u"http://www.w3.org/2000/09/xmldsig#base64", "base64"},
    {u"http://www.w3.org/2000/09/xmldsig#enveloped-signature", "enveloped signature"},
};

/// Every character that a URI can have.
constexpr const char* URI_CHARACTERS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~:/?#[]@!$&'()*+,;=%";

bool isRelationshipsTransform(std::u16string_view identifier) {
    return std::find(std::begin(RELATIONSHIPS_TRANSFORMS), std::end(RELATIONSHIPS_TRANSFORMS), identifier) !=
           std::end(RELATIONSHIPS_TRANSFORMS);
}

URI readURI(const DOMElement& element) {
    if (!element.hasAttributeNS(nullptr, u"URI"))
        refuseSignature("Reference does not have a URI.");
    const std::u16string text = attributeOf(element, u"URI");
    try {
        return URI(toURIText(text));
    } catch (const Exception&) {
        refuseSignature("the URI of a Reference is not valid: " + narrow(text));
    }
}

/// `RelationshipGroupReference` stands in signatures of before the standard.
bool isGroupReference(const DOMElement& selector) {
    return isElement(selector, PACKAGE_SIGNATURE_NAMESPACE, u"RelationshipsGroupReference") ||
           isElement(selector, PACKAGE_SIGNATURE_NAMESPACE, u"RelationshipGroupReference");
}

void readSelectors(const DOMElement& transform, ReferenceData& reference) {
    for (const DOMElement* selector : children(&transform)) {
        throwIfNotEmpty(*selector);
        if (isElement(*selector, PACKAGE_SIGNATURE_NAMESPACE, u"RelationshipReference"))
            reference.relationshipSourceIds.push_back(requiredAttributeOf(*selector, u"SourceId"));
        else if (isGroupReference(*selector))
            reference.relationshipSourceTypes.push_back(requiredAttributeOf(*selector, u"SourceType"));
        else
            refuseSignature("a relationships transform has the element " + nameOf(*selector) +
                            ", which is not a selector.");
    }
}

[[noreturn]] void refuseTransform(const std::u16string& identifier) {
    refuseSignature("the transform is not allowed: " + describeTransform(identifier));
}

void readTransforms(const DOMElement& transforms, ReferenceData& reference) {
    ElementSequence sequence(transforms);
    while (const DOMElement* transform = sequence.optional(u"Transform")) {
        const std::u16string identifier = requiredAttributeOf(*transform, u"Algorithm");
        if (isRelationshipsTransform(identifier))
            readSelectors(*transform, reference);
        else if (commentsOf(identifier))
            throwIfNotEmpty(*transform);
        else
            refuseTransform(identifier);
        reference.transforms.push_back(identifier);
    }
    sequence.end();
}

ReferenceData readReference(const DOMElement& element) {
    ReferenceData reference;
    reference.id = attributeOf(element, u"Id");
    reference.uri = readURI(element);
    reference.type = attributeOf(element, u"Type");
    ElementSequence sequence(element);
    if (const DOMElement* transforms = sequence.optional(u"Transforms"))
        readTransforms(*transforms, reference);
    reference.digestMethod = requiredAttributeOf(sequence.required(u"DigestMethod"), u"Algorithm");
    reference.digestValue = onlyTextOf(sequence.required(u"DigestValue"));
    sequence.end();
    return reference;
}

void throwIfCanonicalizedTwice(const ReferenceData& reference, std::size_t before) {
    if (reference.transforms.size() > before + 1)
        refuseSignature("a Reference has more than one canonicalization: " + narrow(reference.uri.toString()));
}

} // namespace

std::string describeTransform(std::u16string_view identifier) {
    const auto* found = std::find_if(std::begin(OTHER_TRANSFORMS), std::end(OTHER_TRANSFORMS),
                                     [&](const auto& each) { return identifier.starts_with(each.first); });
    return found == std::end(OTHER_TRANSFORMS) ? narrow(identifier)
                                               : std::string(found->second) + " (" + narrow(identifier) + ")";
}

std::u16string toURIText(const std::u16string& text) {
    const bool isPlain = std::all_of(text.begin(), text.end(),
                                     [](char16_t c) { return detail::isPathCharacter(c) || c == u'?' || c == u'#'; });
    return isPlain ? text : URI::percentEncode(text, URI_CHARACTERS);
}

ReferenceData readSignedInfoReference(const DOMElement& element) {
    ReferenceData reference = readReference(element);
    for (const std::u16string& transform : reference.transforms)
        if (isRelationshipsTransform(transform))
            refuseSignature("a Reference of SignedInfo has a relationships transform.");
    throwIfCanonicalizedTwice(reference, 0);
    return reference;
}

ReferenceData readManifestReference(const DOMElement& element) {
    ReferenceData reference = readReference(element);
    const auto& transforms = reference.transforms;
    const auto count = std::count_if(transforms.begin(), transforms.end(), isRelationshipsTransform);
    if (count > 1)
        refuseSignature("a Reference has more than one relationships transform.");
    if (count == 1 && (transforms.size() == 1 || isRelationshipsTransform(transforms.back())))
        refuseSignature("a relationships transform is not followed by a canonicalization.");
    throwIfCanonicalizedTwice(reference, static_cast<std::size_t>(count));
    return reference;
}

} // namespace opc::model
