// SPDX-License-Identifier: Apache-2.0
#include "signatures/StandardSignatureReader.hpp"

#include "errors/ErrorPlaces.hpp"
#include "model/ItemBytes.hpp"
#include "signatures/Base64.hpp"
#include "signatures/CanonicalizationMethods.hpp"
#include "signatures/Digests.hpp"
#include "signatures/KeyInfoReader.hpp"
#include "signatures/PackageObjectReader.hpp"
#include "signatures/SignatureElements.hpp"
#include "signatures/StandardReferenceReader.hpp"
#include "signatures/XadesReader.hpp"
#include "xml/ChildElements.hpp"
#include "xml/TreeWalk.hpp"
#include "xml/XercesErrors.hpp"
#include "xml/XmlPlaces.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMNamedNodeMap.hpp>

#include <algorithm>
#include <map>
#include <utility>

namespace opc::model {

namespace {

using xercesc::DOMElement;
using xercesc::DOMNode;
using Data = DigitalSignatureData;
using View = std::u16string_view;

/// Each costs a look at everything around its target, and `SignedInfo` is digested once for each certificate. Producers
/// write two or three references.
constexpr std::size_t MAXIMUM_SIGNED_INFO_REFERENCES = 100;
constexpr std::size_t MAXIMUM_SIGNED_INFO_SIZE = 1024 * 1024;

constexpr char16_t OFFICE_NAMESPACE[] = u"http://schemas.microsoft.com/office/2006/digsig";
constexpr View OFFICE_OBJECT_ID = u"idOfficeObject";

/// The Id of an element, as references to it have it.
std::u16string idOf(const DOMElement& element) {
    return toURIText(attributeOf(element, u"Id"));
}

/// The elements of a document by their Ids.
class Ids {
public:
    /// Whatever some program may take for an Id counts, so that no two programs resolve a reference differently.
    /// @throws InvalidPartContent when an Id is not unique.
    explicit Ids(const DOMElement& root) {
        TreeWalk walk(&root);
        for (const DOMNode* node = &root; node != nullptr; node = walk.next())
            if (node->getNodeType() == DOMNode::ELEMENT_NODE)
                add(static_cast<const DOMElement&>(*node));
    }

    /// By its attribute `Id`; null when there is none.
    const DOMElement* find(const std::u16string& id) const {
        const auto found = elements_.find(id);
        return found == elements_.end() || idOf(*found->second) != id ? nullptr : found->second;
    }

private:
    static bool isId(View name) { return name == u"Id" || name == u"ID" || name == u"id" || name == u"xml:id"; }

    void add(const DOMElement& element) {
        const auto& attributes = *element.getAttributes();
        for (XMLSize_t i = attributes.getLength(); i-- > 0;) {
            const DOMNode& attribute = *attributes.item(i);
            if (isId(attribute.getNodeName()) &&
                !elements_.emplace(toURIText(attribute.getNodeValue()), &element).second)
                refuseSignature("two elements have the Id " + narrow(attribute.getNodeValue()));
        }
    }

    std::map<std::u16string, const DOMElement*> elements_;
};

/// Null for the root.
const DOMElement* parentOf(const DOMElement& element) {
    const DOMNode* parent = element.getParentNode();
    return parent->getNodeType() == DOMNode::ELEMENT_NODE ? static_cast<const DOMElement*>(parent) : nullptr;
}

bool isWithin(const DOMNode* node, const DOMElement& ancestor) {
    while (node != nullptr && node != &ancestor)
        node = node->getParentNode();
    return node != nullptr;
}

bool isOfficeObject(const DOMElement& object) {
    if (attributeOf(object, u"Id").starts_with(OFFICE_OBJECT_ID))
        return true;
    for (const DOMElement* properties : children(&object, DSIG_NAMESPACE, u"SignatureProperties"))
        for (const DOMElement* property : children(properties, DSIG_NAMESPACE, u"SignatureProperty"))
            if (firstChild(property, OFFICE_NAMESPACE, u"SignatureInfoV1") != nullptr)
                return true;
    return false;
}

/// Whether nothing but elements, white space and comments is directly in an element.
bool containsElementsOnly(const DOMElement& element) {
    for (const DOMNode* node = element.getFirstChild(); node != nullptr; node = node->getNextSibling()) {
        const bool isBlank = node->getNodeType() == DOMNode::TEXT_NODE &&
                             View(node->getNodeValue()).find_first_not_of(u" \t\r\n") == View::npos;
        if (!isBlank && node->getNodeType() != DOMNode::ELEMENT_NODE && node->getNodeType() != DOMNode::COMMENT_NODE)
            return false;
    }
    return true;
}

bool containsKnownPropertiesOnly(const DOMElement& qualifyingProperties) {
    const auto elements = children(&qualifyingProperties);
    const XMLCh* const space = qualifyingProperties.getNamespaceURI();
    return containsElementsOnly(qualifyingProperties) &&
           std::all_of(elements.begin(), elements.end(), [space](const DOMElement* each) {
               return isElement(*each, space, u"SignedProperties") || isElement(*each, space, u"UnsignedProperties");
           });
}

class Reading {
public:
    Reading(const xercesc::DOMLSParser& parser, const DOMElement& root, const Limits& limits)
        : parser_(parser), root_(root), limits_(limits), ids_(root) {
        data_.form = SignatureForm::Standard;
        data_.standard.documentId = attributeOf(root, u"Id");
    }

    Data read() {
        ElementSequence sequence(root_);
        const DOMElement& signedInfo = sequence.required(u"SignedInfo");
        const DOMElement& value = sequence.required(u"SignatureValue");
        const DOMElement* keyInfo = sequence.optional(u"KeyInfo");
        while (const DOMElement* object = sequence.optional(u"Object"))
            addObject(*object);
        sequence.end();
        checkAt(
            parser_, signedInfo, nullptr, [&] { readSignedInfo(signedInfo); });
        checkAt(parser_, value, nullptr, [&] { data_.signatureValue = onlyTextOf(value); });
        readPackageObject(parser_, packageObject(), data_);
        readProperties();
        if (keyInfo != nullptr)
            checkAt(parser_, *keyInfo, nullptr, [&] { readSigner(*keyInfo); });
        return std::move(data_);
    }

private:
    void addObject(const DOMElement& object) {
        objects_.push_back(&object);
        data_.objects.push_back({idOf(object), {}});
    }

    // ---- SignedInfo

    void readSignedInfo(const DOMElement& signedInfo) {
        ElementSequence sequence(signedInfo);
        readCanonicalization(sequence.required(u"CanonicalizationMethod"), signedInfo);
        readMethod(sequence.required(u"SignatureMethod"));
        const DOMElement* reference = &sequence.required(u"Reference");
        for (; reference != nullptr; reference = sequence.optional(u"Reference"))
            checkAt(parser_, *reference, nullptr, [&] { readReference(*reference); });
        sequence.end();
    }

    void readCanonicalization(const DOMElement& element, const DOMElement& signedInfo) {
        throwIfNotEmpty(element);
        data_.canonicalizationMethod = requiredAttributeOf(element, u"Algorithm");
        const auto comments = commentsOf(data_.canonicalizationMethod);
        if (!comments)
            refuseSignature("the CanonicalizationMethod is not allowed: " +
                            describeTransform(data_.canonicalizationMethod));
        data_.standard.signedInfo = canonicalize(signedInfo, *comments);
        if (data_.standard.signedInfo.size() > MAXIMUM_SIGNED_INFO_SIZE)
            refuseSignature("SignedInfo is longer than " + std::to_string(MAXIMUM_SIGNED_INFO_SIZE) + " bytes.");
    }

    /// An unknown method is left to verification to report; parameters are a matter of such methods alone.
    void readMethod(const DOMElement& element) {
        data_.signatureMethod = requiredAttributeOf(element, u"Algorithm");
        data_.standard.algorithm = SignatureAlgorithm::of(data_.signatureMethod);
        if (data_.standard.algorithm.keyKind)
            throwIfNotEmpty(element);
        const std::string name = SignatureAlgorithm::findUnsupportedName(data_.signatureMethod);
        if (name.starts_with("HMAC")) // its key would be known to whoever verifies
            refuseSignature("the SignatureMethod is not allowed: " + name + " (" + narrow(data_.signatureMethod) + ")");
    }

    void readReference(const DOMElement& element) {
        if (data_.signedInfoReferences.size() >= MAXIMUM_SIGNED_INFO_REFERENCES)
            refuseSignature("SignedInfo has more than " + std::to_string(MAXIMUM_SIGNED_INFO_REFERENCES) +
                            " References.");
        Data::ReferenceData reference = readSignedInfoReference(element);
        keep(reference.uri);
        data_.signedInfoReferences.push_back(std::move(reference));
    }

    /// Keeps the element that is referred to in its canonical form. It has no comments, whatever the transform, since
    /// the reference selects none (XML-DSig §4.3.3.3).
    void keep(const URI& uri) {
        const std::u16string id = uri.getFragment();
        if (uri.toString() != u"#" + id)
            refuseSignature("a Reference of SignedInfo leads out of the signature: " + narrow(uri.toString()));
        const DOMElement* target = ids_.find(id);
        if (id.empty() || target == nullptr)
            refuseSignature("a Reference of SignedInfo leads to no element: " + narrow(uri.toString()));
        if (!isReferable(*target))
            refuseSignature(
                "a Reference of SignedInfo leads to the element " + nameOf(*target) +
                ", which is no KeyInfo, no Object and no properties or manifest in one: " + narrow(uri.toString()));
        const auto [kept, isNew] = data_.standard.elements.try_emplace(id);
        if (!isNew)
            refuseSignature("two References of SignedInfo lead to " + narrow(uri.toString()));
        kept->second = canonicalize(*target, CanonicalComments::Omit);
        size_ += kept->second.size();
        if (size_ > limits_.xmlSize)
            refuseSignature("what SignedInfo refers to is longer than " + std::to_string(limits_.xmlSize) + " bytes.");
        targets_.push_back(target);
        if (isObject(target) && isOfficeObject(*target))
            data_.form = SignatureForm::Office;
    }

    bool isObject(const DOMElement* element) const {
        return element != nullptr && parentOf(*element) == &root_ && isElement(*element, DSIG_NAMESPACE, u"Object");
    }

    bool isReferable(const DOMElement& element) const {
        const DOMElement* parent = parentOf(element);
        if (parent == nullptr || isObject(&element))
            return parent != nullptr;
        if (parent == &root_) // which protects the certificate (ETSI EN 319 132-1 §5.2.2)
            return isElement(element, DSIG_NAMESPACE, u"KeyInfo");
        if (isObject(parent))
            return isElement(element, DSIG_NAMESPACE, u"Manifest") ||
                   isElement(element, DSIG_NAMESPACE, u"SignatureProperties");
        return isObject(parentOf(*parent)) && isProperty(element, *parent);
    }

    static bool isProperty(const DOMElement& element, const DOMElement& parent) {
        return (isElement(parent, DSIG_NAMESPACE, u"SignatureProperties") &&
                isElement(element, DSIG_NAMESPACE, u"SignatureProperty")) ||
               (isQualifyingProperties(parent) && isElement(element, parent.getNamespaceURI(), u"SignedProperties"));
    }

    // ---- objects

    /// The one Object that `SignedInfo` refers to and that has a manifest.
    const DOMElement& packageObject() const {
        const DOMElement* found = nullptr;
        for (const DOMElement* target : targets_) {
            if (!isObject(target) || !hasManifest(*target))
                continue;
            if (found != nullptr)
                refuseSignature("SignedInfo refers to more than one Object with a Manifest.");
            found = target;
        }
        if (found == nullptr)
            refuseSignature("SignedInfo refers to no Object with a Manifest.");
        return *found;
    }

    void readProperties() {
        for (std::size_t i = 0; i < objects_.size(); ++i) {
            const auto elements = children(objects_[i]);
            for (const DOMElement* each : elements)
                if (isQualifyingProperties(*each)) {
                    data_.objects[i].isXades = elements.size() == 1 && containsElementsOnly(*objects_[i]) &&
                                               containsKnownPropertiesOnly(*each);
                    checkAt(parser_, *each, nullptr, [&] { readProperties(*each); });
                }
        }
    }

    void readProperties(const DOMElement& qualifyingProperties) {
        readQualifyingProperties(qualifyingProperties, data_);
        const DOMElement* signedProperties =
            firstChild(&qualifyingProperties, qualifyingProperties.getNamespaceURI(), u"SignedProperties");
        data_.standard.arePropertiesSigned =
            std::any_of(targets_.begin(), targets_.end(),
                        [&](const DOMElement* target) { return isWithin(signedProperties, *target); });
    }

    // ---- signer

    void readSigner(const DOMElement& keyInfo) {
        chooseStandardSigner(data_, readKeyInfo(keyInfo, data_));
        data_.standard.isCertificateSigned =
            !data_.certificate.isEmpty() && std::ranges::find(targets_, &keyInfo) != targets_.end();
        describeStandardKey(data_);
    }

    const xercesc::DOMLSParser& parser_;
    const DOMElement& root_;
    const Limits& limits_;
    const Ids ids_;
    Data data_;
    std::vector<const DOMElement*> objects_;
    std::vector<const DOMElement*> targets_; ///< of the references of `SignedInfo`
    std::uint64_t size_ = 0;                 ///< of the canonical forms that are kept, in bytes
};

Data readDocument(const xercesc::DOMLSParser& parser, const xercesc::DOMDocument& document, const Limits& limits) {
    const DOMElement* root = document.getDocumentElement();
    if (root == nullptr || !isElement(*root, DSIG_NAMESPACE, u"Signature"))
        refuseSignature("Signature is not present.");
    const XMLCh* version = document.getXmlVersion(); // null without a declaration
    if (version != nullptr && View(version) != u"1.0")
        refuseSignature("the document is not XML 1.0.");
    Data data;
    checkAt(parser, *root, nullptr, [&] { data = Reading(parser, *root, limits).read(); });
    return data;
}

} // namespace

Data readStandardSignature(InputStream& stream, const Limits& limits) {
    const std::vector<unsigned char> bytes = readXmlItem(stream, limits.xmlSize);
    try {
        const XercesGuard guard;
        const ParserHandle parser = XercesHelper::createParser(limits);
        ByteArrayInAdaptor content(bytes);
        const bool isWide = bytes.size() > 1 && (bytes[0] == 0 || bytes[1] == 0 || bytes[0] >= 0xFE); // UTF-16
        if (!isWide && std::find(bytes.begin(), bytes.end(), 0) != bytes.end())
            refuseSignature("the part contains U+0000."); // behind which Xerces-C would not read on
        return readDocument(*parser, *XercesHelper::readDocumentFromStream(*parser, content, false, u"", u""), limits);
    } catch (const InvalidXMLDocument& e) {
        throwAs<InvalidPartContent>(e);
    }
}

bool isSignatureValueValid(const Data& data, const crypto::PublicKey& key) {
    const SignatureAlgorithm& algorithm = data.standard.algorithm;
    const auto value = fromBase64(data.signatureValue);
    const std::string& octets = data.standard.signedInfo;
    return value && algorithm.digestMethod && algorithm.keyKind == key.getKind() &&
           key.verify(toDigestAlgorithm(*algorithm.digestMethod), {octets.begin(), octets.end()}, *value);
}

} // namespace opc::model
