// SPDX-License-Identifier: Apache-2.0
#include "signatures/PackageObjectReader.hpp"

#include "signatures/ManifestTarget.hpp"
#include "signatures/SignatureElements.hpp"
#include "signatures/StandardReferenceReader.hpp"
#include "xml/ChildElements.hpp"
#include "xml/TreeWalk.hpp"
#include "xml/XmlPlaces.hpp"

#include <opc/core/Time.hpp>
#include <opc/errors/Errors.hpp>

#include <xercesc/dom/DOMNamedNodeMap.hpp>

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

namespace opc::model {

namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;
using ReferenceData = DigitalSignatureData::ReferenceData;
using View = std::u16string_view;

constexpr View MARKUP_COMPATIBILITY = u"http://schemas.openxmlformats.org/markup-compatibility/2006";

bool isMarkupCompatibility(const DOMNode& node) {
    return node.getNamespaceURI() != nullptr && MARKUP_COMPATIBILITY == node.getNamespaceURI();
}

bool usesMarkupCompatibility(const DOMNode& node) {
    if (node.getNodeType() != DOMNode::ELEMENT_NODE)
        return false;
    const auto& attributes = *node.getAttributes();
    bool found = isMarkupCompatibility(node);
    for (XMLSize_t i = attributes.getLength(); i-- > 0 && !found;)
        found = isMarkupCompatibility(*attributes.item(i));
    return found;
}

void throwIfMarkupCompatibility(const DOMElement& object) {
    TreeWalk walk(&object);
    for (const DOMNode* node = &object; node != nullptr; node = walk.next())
        if (usesMarkupCompatibility(*node))
            refuseSignature("the package object uses Markup Compatibility.");
}

// ---- time

/// The forms of W3CDTF, and how their values look with a 0 for each digit.
constexpr std::pair<View, View> TIME_FORMATS[] = {
    {u"YYYY", u"0000"},
    {u"YYYY-MM", u"0000-00"},
    {u"YYYY-MM-DD", u"0000-00-00"},
    {u"YYYY-MM-DDThh:mmTZD", u"0000-00-00T00:00Z"},
    {u"YYYY-MM-DDThh:mm:ssTZD", u"0000-00-00T00:00:00Z"},
    {u"YYYY-MM-DDThh:mm:ss.sTZD", u"0000-00-00T00:00:00.0Z"},
};

bool isDigit(char16_t unit) {
    return unit >= u'0' && unit <= u'9';
}

/// A value with 0 for each digit, one for all of a fraction, and Z for each zone.
std::u16string shapeOf(View value) {
    std::u16string shape(value);
    std::replace_if(shape.begin(), shape.end(), isDigit, u'0');
    for (const View zone : {u"+00:00", u"-00:00"})
        if (View(shape).ends_with(zone))
            shape.replace(shape.size() - zone.size(), zone.size(), u"Z");
    const std::size_t fraction = shape.find(u".0") + 2;
    if (fraction > 1) // found
        shape.erase(fraction, shape.find_first_not_of(u'0', fraction) - fraction);
    return shape;
}

void throwIfNotOfItsFormat(const DigitalSignatureData::SignaturePropertyData& property) {
    const auto* format = std::find_if(std::begin(TIME_FORMATS), std::end(TIME_FORMATS),
                                      [&](const auto& each) { return each.first == property.format; });
    if (format == std::end(TIME_FORMATS))
        refuseSignature("the format of the time is not known: " + narrow(property.format));
    if (shapeOf(property.value) != format->second)
        refuseSignature("the time " + narrow(property.value) + " does not have its format, " + narrow(property.format) +
                        ".");
}

/// Reads what the package object has into the data of a signature.
class Reading {
public:
    Reading(const xercesc::DOMLSParser& parser, DigitalSignatureData& data) : parser_(parser), data_(data) {}

    void read(const DOMElement& object) {
        throwIfMarkupCompatibility(object);
        ElementSequence sequence(object);
        const DOMElement* properties = sequence.optional(u"SignatureProperties"); // the order is free
        const DOMElement& manifest = sequence.required(u"Manifest");
        if (properties == nullptr)
            properties = &sequence.required(u"SignatureProperties");
        sequence.end();
        readManifest(manifest);
        readProperties(*properties);
    }

private:
    void readManifest(const DOMElement& manifest) {
        ElementSequence sequence(manifest);
        const DOMElement* element = &sequence.required(u"Reference");
        for (; element != nullptr; element = sequence.optional(u"Reference"))
            checkAt(parser_, *element, nullptr, [&] { add(readManifestReference(*element)); });
        sequence.end();
    }

    void add(ReferenceData reference) {
        const ManifestTarget target = targetOf(reference);
        if (reference.uri.hasFragment())
            refuseSignature("a Reference of the manifest has a fragment: " + narrow(reference.uri.toString()));
        const bool selects = !reference.relationshipSourceIds.empty() || !reference.relationshipSourceTypes.empty() ||
                             reference.transforms.size() > 1;
        if (selects && !target.isRelationships())
            refuseSignature("a relationships transform of a part that has no relationships: " +
                            narrow(target.name.toString()));
        if (!targets_.insert(target.name).second)
            refuseSignature("two References of the manifest lead to " + narrow(target.name.toString()));
        data_.manifestReferences.push_back(std::move(reference));
    }

    static ManifestTarget targetOf(const ReferenceData& reference) {
        try {
            return ManifestTarget::of(reference.uri);
        } catch (const Exception& e) {
            refuseSignature("a Reference of the manifest leads to no part: " + narrow(reference.uri.toString()) + ": " +
                            e.what());
        }
    }

    void readProperties(const DOMElement& properties) {
        ElementSequence sequence(properties);
        while (const DOMElement* property = sequence.optional(u"SignatureProperty"))
            checkAt(parser_, *property, nullptr, [&] { readProperty(*property); });
        sequence.end();
        if (data_.signatureProperties.empty())
            refuseSignature("SignatureTime is not present.");
    }

    /// A property without a time has a meaning for others only.
    void readProperty(const DOMElement& property) {
        const std::u16string id = attributeOf(property, u"Id");
        const auto times = children(&property, PACKAGE_SIGNATURE_NAMESPACE, u"SignatureTime");
        if (times.empty() && !id.starts_with(SIGNATURE_TIME_ID))
            return;
        if (times.size() != 1 || !data_.signatureProperties.empty())
            refuseSignature("the package object does not have exactly one SignatureTime.");
        readTime(*times.front(), {targetOf(property), id, {}, {}});
    }

    /// The whole signature: its Id, or nothing.
    std::u16string targetOf(const DOMElement& property) const {
        if (!property.hasAttributeNS(nullptr, u"Target"))
            refuseSignature("SignatureProperty does not have Target.");
        std::u16string target = attributeOf(property, u"Target");
        const std::u16string& id = data_.standard.documentId;
        if (!target.empty() && (id.empty() || target != u"#" + id))
            refuseSignature("the Target of a SignatureProperty is not its signature: " + narrow(target));
        return target;
    }

    void readTime(const DOMElement& time, DigitalSignatureData::SignaturePropertyData property) {
        ElementSequence sequence(time);
        property.format = trimmed(onlyTextOf(sequence.required(u"Format", PACKAGE_SIGNATURE_NAMESPACE)));
        property.value = trimmed(onlyTextOf(sequence.required(u"Value", PACKAGE_SIGNATURE_NAMESPACE)));
        sequence.end();
        throwIfNotOfItsFormat(property);
        data_.signedTime = convertStringToTime(property.value);
        if (data_.signedTime.is_special())
            refuseSignature("the time of the signature is not a time: " + narrow(property.value));
        data_.signatureProperties.push_back(std::move(property));
    }

    const xercesc::DOMLSParser& parser_;
    DigitalSignatureData& data_;
    std::set<PartName> targets_;
};

} // namespace

bool hasManifest(const DOMElement& object) {
    return firstChild(&object, DSIG_NAMESPACE, u"Manifest") != nullptr;
}

void readPackageObject(const xercesc::DOMLSParser& parser, const DOMElement& object, DigitalSignatureData& data) {
    Reading(parser, data).read(object);
}

} // namespace opc::model
