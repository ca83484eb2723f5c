// SPDX-License-Identifier: Apache-2.0
#include "signatures/SignatureDocumentReader.hpp"

#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/core/Time.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/crypto/UnsupportedKeySize.hpp>
#include <opc/errors/Errors.hpp>

#include "errors/ErrorPlaces.hpp"
#include "model/ItemBytes.hpp"
#include "signatures/KeyInfoReader.hpp"
#include "signatures/PlainSignatureReader.hpp"
#include "signatures/SignatureDocumentWriter.hpp"
#include "signatures/SignatureElements.hpp"
#include "signatures/SignatureFormRules.hpp"
#include "signatures/SignatureKeys.hpp"
#include "xml/BoundedParser.hpp"
#include "xml/CanonicalXml.hpp"
#include "xml/ChildElements.hpp"
#include "xml/SchemaValidation.hpp"
#include "xml/XercesErrors.hpp"
#include "xml/XmlPlaces.hpp"

#include <xercesc/util/XMLUni.hpp>

#include <algorithm>
#include <ostream>
#include <set>

namespace opc::model {

namespace {

using xercesc::DOMElement;
using Data = DigitalSignatureData;
using ReferenceData = Data::ReferenceData;

/// A parser that has seen more names is replaced before the next document. A signature has about thirty.
constexpr std::size_t MOST_NAMES_OF_A_PARSER = 100;

constexpr char16_t SIGNATURE_PROPERTIES_TYPE[] = u"http://www.w3.org/2000/09/xmldsig#SignatureProperties";
constexpr char16_t SIGNED_PROPERTIES_TYPE[] = u"http://uri.etsi.org/01903#SignedProperties";

[[noreturn]] void refuse(const std::string& message) {
    throw InvalidPartContent(message);
}

/// Writes a human-readable log; does nothing on a null stream.
class Trace {
public:
    explicit Trace(std::ostream& out) : out_(out) {}

    void operator()(const char* label, const std::u16string& value = {}) {
        if (out_)
            out_ << label << narrow(value) << '\n';
    }
    void operator()(const char* label, std::size_t count) {
        if (out_)
            out_ << label << std::to_string(count) << '\n';
    }

private:
    std::ostream& out_;
};

DOMElement* child(const DOMElement* parent, const char16_t* name) {
    return firstChild(parent, DSIG_NAMESPACE, name);
}

DOMElement* requiredChild(const DOMElement* parent, const char16_t* name,
                          const char16_t* namespaceURI = DSIG_NAMESPACE) {
    DOMElement* found = firstChild(parent, namespaceURI, name);
    if (found == nullptr)
        refuse("XML signature: " + narrow(name) + " is not present.");
    return found;
}

/// The text of a required child, which must not be blank.
std::u16string requiredText(const DOMElement* parent, const char16_t* name,
                            const char16_t* namespaceURI = DSIG_NAMESPACE) {
    std::u16string text = textOf(*requiredChild(parent, name, namespaceURI));
    if (isBlank(text))
        refuse("XML signature: " + narrow(name) + " is empty.");
    return text;
}

/// A required attribute, which must not be empty.
std::u16string requiredAttribute(const DOMElement* element, const char16_t* name, const char* message) {
    std::u16string value = attributeOf(*element, name);
    if (value.empty())
        refuse(message);
    return value;
}

/// Reads one signature into one value, in the order in which its faults are reported.
class Reading {
public:
    Reading(const xercesc::DOMLSParser& parser, const DOMElement& root, const SignatureFormRules& form,
            std::ostream& trace)
        : parser_(parser), root_(root), form_(form), trace_(trace), writer_(XercesHelper::createWriter()) {
        data_.form = form.form;
    }

    Data read() {
        const DOMElement* signedInfo = requiredChild(&root_, u"SignedInfo");
        readMethods(signedInfo);
        data_.signatureValue = requiredText(&root_, u"SignatureValue");
        trace_("Signature value: ", data_.signatureValue);
        std::vector<certificates::X509Certificate> signers = readKeyInfo(requiredChild(&root_, u"KeyInfo"));
        readSignedInfoReferences(signedInfo);
        readObjects();
        throwIfObjectReferencesAreInvalid();
        throwIfNotReproducible(*signedInfo);
        chooseSigner(data_, std::move(signers));
        try {
            deriveParams(data_);
        } catch (const Exception& e) {
            refuse(e.what());
        }
        return std::move(data_);
    }

private:
    void readMethods(const DOMElement* signedInfo) {
        data_.canonicalizationMethod =
            requiredAttribute(requiredChild(signedInfo, u"CanonicalizationMethod"), u"Algorithm",
                              "XML signature: CanonicalizationMethod is empty.");
        trace_("Canonicalization Algorithm ", data_.canonicalizationMethod);
        if (data_.canonicalizationMethod != AlgorithmURIMap::getAlgorithmURI(form_.canonicalization))
            refuse("XML signature: CanonicalizationMethod is not supported: " + narrow(data_.canonicalizationMethod));
        data_.signatureMethod = requiredAttribute(requiredChild(signedInfo, u"SignatureMethod"), u"Algorithm",
                                                  "XML signature: SignatureMethod is empty.");
        trace_("Signature Algorithm ", data_.signatureMethod);
    }

    /// @return the certificates; none when there is a bare key.
    std::vector<certificates::X509Certificate> readKeyInfo(const DOMElement* keyInfo) {
        if (const DOMElement* keyValue = child(keyInfo, u"KeyValue")) {
            readKeyValue(keyValue);
            return {};
        }
        const auto x509Datas = children(keyInfo, DSIG_NAMESPACE, u"X509Data");
        if (x509Datas.empty())
            refuse("Supported key management mechanisms in signatures are KeyValue using RSA or X509 certificates. "
                   "Others are not supported.");
        return readCertificates(x509Datas);
    }

    /// There may be none: the caller has to supply a key then.
    std::vector<certificates::X509Certificate> readCertificates(const std::vector<DOMElement*>& x509Datas) {
        std::vector<certificates::X509Certificate> found;
        for (const DOMElement* x509Data : x509Datas)
            for (const DOMElement* element : children(x509Data, DSIG_NAMESPACE, u"X509Certificate")) {
                if (found.size() >= MAXIMUM_CERTIFICATES)
                    refuse("XML signature: more than " + std::to_string(MAXIMUM_CERTIFICATES) + " certificates.");
                found.push_back(readCertificate(element));
            }
        trace_("Number of x509Certificate elements = ", found.size());
        return found;
    }

    static certificates::X509Certificate readCertificate(const DOMElement* element) {
        const std::u16string text = textOf(*element);
        if (isBlank(text))
            refuse("XML signature: x509CertificateElement is empty.");
        return translatingCryptoErrors("X509Certificate", [&text] {
            return certificates::X509Certificate::fromDER(crypto::CryptoEngine::decodeBase64(text));
        });
    }

    void readKeyValue(const DOMElement* keyValue) {
        const DOMElement* rsaKeyValue = child(keyValue, u"RSAKeyValue");
        if (rsaKeyValue == nullptr)
            refuse("RSA Key Value is missing. DSA for signatures is not supported yet.");
        const std::u16string modulus = requiredText(rsaKeyValue, u"Modulus");
        const std::u16string exponent = requiredText(rsaKeyValue, u"Exponent");
        data_.publicKey = translatingCryptoErrors("RSAKeyValue", [&] {
            return crypto::RSAPublicKey::fromModulusAndExponent(crypto::CryptoEngine::decodeBase64(modulus),
                                                                crypto::CryptoEngine::decodeBase64(exponent));
        });
    }

    template <class Action>
    static auto translatingCryptoErrors(const char* where, Action action) -> decltype(action()) {
        try {
            return action();
        } catch (const crypto::UnsupportedKeySize&) {
            refuse("Input key size is not supported as a Signature Method.");
        } catch (const Exception& e) {
            refuse(std::string("XML signature: ") + where + ": " + e.what());
        }
    }

    void readSignedInfoReferences(const DOMElement* signedInfo) {
        std::vector<DOMElement*> elements = children(signedInfo);
        std::size_t position = 0;
        for (const DOMElement* element : elements) {
            if (++position <= 2) // the two methods
                continue;
            if (!isElement(*element, DSIG_NAMESPACE, u"Reference"))
                refuse("Internal Exception: Did not get Reference Element as expected.");
            checkAt(parser_, *element, nullptr, [&] { readSignedInfoReference(element); });
        }
        trace_("Number of reference elements = ", data_.signedInfoReferences.size());
    }

    void readSignedInfoReference(const DOMElement* element) {
        trace_(" -------------------- Reference --------------------");
        ReferenceData reference;
        if (!element->hasAttributeNS(nullptr, u"URI"))
            refuse("XML Signature: Reference does not have a URI. It is not supported.");
        readURI(element, reference);
        trace_("Reference URI = ", reference.uri.toString());
        readReferenceBody(element, reference);
        throwIfTypeIsNotSupported(reference.type);
        if (!reference.relationshipSourceIds.empty() || !reference.relationshipSourceTypes.empty() ||
            std::any_of(reference.transforms.begin(), reference.transforms.end(),
                        [this](const std::u16string& each) { return form_.isRelationshipTransform(each); }))
            refuse("XML signature: a reference of SignedInfo has a relationships transform.");
        data_.signedInfoReferences.push_back(std::move(reference));
    }

    static void readURI(const DOMElement* element, ReferenceData& reference) {
        try {
            reference.uri = URI(attributeOf(*element, u"URI"));
        } catch (const InvalidURI&) {
            refuse("XML signature: Reference URI is not valid");
        }
    }

    void throwIfTypeIsNotSupported(const std::u16string& type) const {
        if (type.empty())
            refuse("XML signature: referenceType is empty.");
        if (type == SIGNED_PROPERTIES_TYPE)
            refuse("XAsES SignedProperties element is not supported yet.");
        if (type == SIGNATURE_PROPERTIES_TYPE)
            refuse("XMLDSig SignatureProperties element is not supported yet.");
        if (type != form_.objectReferenceType)
            refuse("XML Signature: referenceType not supported yet.");
    }

    /// The content that references of `SignedInfo` and of the manifest have in common.
    void readReferenceBody(const DOMElement* element, ReferenceData& reference) {
        reference.id = attributeOf(*element, u"Id");
        reference.type = attributeOf(*element, u"Type");
        trace_("URI = ", reference.uri.toString());
        trace_("Type = ", reference.type);
        reference.digestMethod = requiredAttribute(requiredChild(element, u"DigestMethod"), u"Algorithm",
                                                   "XML signature: DigestMethod is empty.");
        trace_("Digest Algorithm ", reference.digestMethod);
        reference.digestValue = requiredText(element, u"DigestValue");
        trace_("Digest value: ", reference.digestValue);
        if (const DOMElement* transforms = child(element, u"Transforms"))
            readTransforms(transforms, reference);
    }

    void readTransforms(const DOMElement* transforms, ReferenceData& reference) {
        bool selects = false;
        const auto elements = children(transforms, DSIG_NAMESPACE, u"Transform");
        trace_("Number of transform elements = ", elements.size());
        for (const DOMElement* transform : elements) {
            reference.transforms.push_back(
                requiredAttribute(transform, u"Algorithm", "XML signature: TransformMethod is empty."));
            trace_("Transform Algorithm ", reference.transforms.back());
            if (!form_.isRelationshipTransform(reference.transforms.back()))
                continue;
            if (selects) // the second would select from the output of the first
                refuse("XML signature: a reference has more than one relationships transform.");
            selects = true;
            readRelationshipTransform(transform, reference);
        }
    }

    void readRelationshipTransform(const DOMElement* transform, ReferenceData& reference) {
        for (const DOMElement* selector : children(transform)) {
            const bool isOurs = selector->getNamespaceURI() != nullptr &&
                                std::u16string_view(PACKAGE_SIGNATURE_NAMESPACE) == selector->getNamespaceURI();
            if (isOurs && std::u16string_view(u"RelationshipReference") == selector->getLocalName())
                reference.relationshipSourceIds.push_back(requiredAttribute(
                    selector, u"SourceId", "XML signature: SourceID of a relationship transform is empty."));
            else if (isOurs && form_.isGroupReference(selector->getLocalName()))
                reference.relationshipSourceTypes.push_back(readSourceType(selector));
            else
                refuse("XML signature: a relationships transform holds more than selectors.");
        }
        trace_("Number of relationship reference elements = ", reference.relationshipSourceIds.size());
        trace_("Number of relationship group reference elements = ", reference.relationshipSourceTypes.size());
    }

    static std::u16string readSourceType(const DOMElement* selector) {
        std::u16string type = requiredAttribute(
            selector, u"SourceType", "XML signature: Source type of a relationship group transform is empty.");
        try {
            const URI checked(type);
        } catch (const InvalidURI&) {
            refuse("XML signature: Source type of a relationship group transform is not a valid URI");
        }
        return type;
    }

    void readObjects() {
        const auto elements = children(&root_, DSIG_NAMESPACE, u"Object");
        trace_("Number of object elements = ", elements.size());
        const DOMElement* packageObject = nullptr;
        for (const DOMElement* element : elements) {
            Data::ObjectData object;
            object.id = requiredAttribute(element, u"Id", "XML signature: Object missing Id attribute.");
            trace_("Object ID found = ", object.id);
            if (!objectIds_.insert(object.id).second)
                refuse("XML signature: duplicate Id of an Object: " + narrow(object.id));
            if (object.id == PACKAGE_OBJECT_ID) {
                trace_("Found the package specific object. \n");
                packageObject = element;
            }
            XercesHelper::writeElementToString(*writer_, element, object.xmlBytes);
            data_.objects.push_back(std::move(object));
        }
        if (packageObject == nullptr)
            refuse(std::string("XML signature: Could not find referenced object ") + narrow(PACKAGE_OBJECT_ID));
        readPackageObject(packageObject);
    }

    void readPackageObject(const DOMElement* object) {
        readManifest(onlyChild(object, u"Manifest", "manifest"));
        readSignatureProperties(onlyChild(object, u"SignatureProperties", "signatureProperties"));
    }

    /// The only child of the package object with that local name, in any namespace.
    static const DOMElement* onlyChild(const DOMElement* object, std::u16string_view name, const char* title) {
        const DOMElement* found = nullptr;
        for (const DOMElement* element : children(object)) {
            if (name != element->getLocalName())
                continue;
            if (found != nullptr)
                refuse("XML signature: There must exist only one " + narrow(name) +
                       " element in package specific Object element.");
            found = element;
        }
        if (found == nullptr)
            refuse(std::string("XML signature: Could not find ") + title + " object ");
        return found;
    }

    void readManifest(const DOMElement* manifest) {
        if (!isElement(*manifest, DSIG_NAMESPACE, u"Manifest"))
            refuse("Internal Exception: Did not get Manifest Element as expected.");
        const auto elements = children(manifest);
        trace_("Number of reference elements = ", elements.size());
        for (const DOMElement* element : elements)
            checkAt(parser_, *element, nullptr, [&] { readManifestReference(element); });
    }

    void readManifestReference(const DOMElement* element) {
        trace_(" -------------------- Reference --------------------");
        if (!isElement(*element, DSIG_NAMESPACE, u"Reference"))
            refuse("Internal Exception: Did not get Reference Element as expected.");
        ReferenceData reference;
        if (!element->hasAttributeNS(nullptr, u"URI"))
            refuse("XML signature: Manifest reference missing URI attribute.");
        readURI(element, reference);
        readReferenceBody(element, reference);
        data_.manifestReferences.push_back(std::move(reference));
    }

    void readSignatureProperties(const DOMElement* properties) {
        for (const DOMElement* property : children(properties, DSIG_NAMESPACE, u"SignatureProperty"))
            checkAt(parser_, *property, nullptr, [&] { readSignatureProperty(property); });
        if (data_.signatureProperties.empty())
            refuse("XML signature: SignatureTime is not present.");
    }

    void readSignatureProperty(const DOMElement* property) {
        const std::u16string target =
            requiredAttribute(property, u"Target", "XML signature: SignatureProperty does not have a target.");
        if (target != u"#" + attributeOf(root_, u"Id"))
            refuse("XML signature: the target of a SignatureProperty is not its signature.");
        requiredChild(property, u"SignatureTime", PACKAGE_SIGNATURE_NAMESPACE);
        for (const DOMElement* time : children(property, PACKAGE_SIGNATURE_NAMESPACE, u"SignatureTime")) {
            if (!data_.signatureProperties.empty())
                refuse("XML signature: There must exist only one SignatureTime element.");
            data_.signatureProperties.push_back({target, attributeOf(*property, u"Id"),
                                                 requiredText(time, u"Format", PACKAGE_SIGNATURE_NAMESPACE),
                                                 requiredText(time, u"Value", PACKAGE_SIGNATURE_NAMESPACE)});
            readTime(data_.signatureProperties.back());
        }
    }

    void readTime(const Data::SignaturePropertyData& property) {
        trace_("Time Format = ", property.format);
        trace_(" and Value = ", property.value);
        data_.signedTime = convertStringToTime(property.value);
        if (data_.signedTime.is_special())
            refuse("XML signature: the time of the signature is not a time: " + narrow(property.value));
        trace_("Time after conversion: ", convertTimeToString(data_.signedTime));
    }

    /// Every reference of `SignedInfo` refers to a different object, one of them to the package object.
    void throwIfObjectReferencesAreInvalid() const {
        std::set<std::u16string> seen;
        for (const ReferenceData& reference : data_.signedInfoReferences) {
            const std::u16string id = reference.uri.getFragment();
            if (objectIds_.count(id) == 0 || reference.uri.toString() != u"#" + id)
                refuse("XML signature: Could not find referenced object " + narrow(id));
            if (!seen.insert(id).second)
                refuse("XML signature: two references of SignedInfo lead to the object " + narrow(id));
        }
        if (seen.count(PACKAGE_OBJECT_ID) == 0)
            refuse("XML signature: no reference of SignedInfo leads to the package specific object.");
    }

    /// The verified bytes are generated from the data, so `SignedInfo` must not contain anything else.
    void throwIfNotReproducible(const DOMElement& signedInfo) const {
        if (canonicalize(signedInfo, CanonicalComments::Keep) !=
            SignatureDocumentWriter::makeSignedInfo(data_, SignedInfoForm::Canonical))
            refuse("XML signature: SignedInfo holds more than is understood.");
    }

    const xercesc::DOMLSParser& parser_;
    const DOMElement& root_;
    const SignatureFormRules& form_;
    Trace trace_;
    WriterHandle writer_;
    Data data_;
    std::set<std::u16string> objectIds_;
};

ParserHandle makeValidator(const Limits& limits) {
    ParserHandle parser = XercesHelper::createParser(limits);
    parser->getDomConfig()->setParameter(xercesc::XMLUni::fgXercesUseCachedGrammarInParse, true);
    for (const EmbeddedSchema* schema : {&embedded::opc_dsig, &embedded::xmldsig})
        loadEmbeddedSchema(*parser, *schema);
    dynamic_cast<BoundedParser&>(*parser).setBuildsTree(false);
    return parser;
}

} // namespace

SignatureDocumentReader::Parsers::Parsers(const Limits& limits)
    : validator(makeValidator(limits)), parser(XercesHelper::createParser(limits)) {}

SignatureDocumentReader::Parsers& SignatureDocumentReader::parsers() {
    if (!parsers_ || dynamic_cast<const BoundedParser&>(*parsers_->validator).getNameCount() > MOST_NAMES_OF_A_PARSER)
        parsers_.emplace(limits_);
    return *parsers_;
}

DigitalSignatureData SignatureDocumentReader::read(InputStream& stream, const SignatureFormRules& form,
                                                   std::ostream& trace) {
    const std::vector<unsigned char> bytes = readXmlItem(stream, limits_.xmlSize);
    if (!trace)
        if (auto data = readPlainSignature(bytes, form, limits_))
            return std::move(*data);
    return readValidated(bytes, form, trace);
}

DigitalSignatureData SignatureDocumentReader::readValidated(const std::vector<unsigned char>& bytes,
                                                            const SignatureFormRules& form, std::ostream& trace) {
    const auto& [guard, validator, parser] = parsers();
    try {
        // Validation normalizes white space in base64 and Ids, so a second parse reads the content.
        ByteArrayInAdaptor validated(bytes);
        XercesHelper::readDocumentFromStream(*validator, validated, true, u"", u"");
        ByteArrayInAdaptor plain(bytes);
        DigitalSignatureData data =
            readDocument(*parser, *XercesHelper::readDocumentFromStream(*parser, plain, false, u"", u""), form, trace);
        translatingXercesErrors([&parser = parser] { parser->resetDocumentPool(); });
        return data;
    } catch (const InvalidXMLDocument& e) {
        throwAs<InvalidPartContent>(e);
    }
}

DigitalSignatureData SignatureDocumentReader::readDocument(const xercesc::DOMLSParser& parser,
                                                           const xercesc::DOMDocument& document,
                                                           const SignatureFormRules& form, std::ostream& trace) {
    const DOMElement* root = document.getDocumentElement();
    if (root == nullptr || !isElement(*root, DSIG_NAMESPACE, u"Signature"))
        refuse("XML signature: Signature is not present.");
    try {
        Data data;
        checkAt(parser, *root, nullptr, [&] { data = Reading(parser, *root, form, trace).read(); });
        return data;
    } catch (const InvalidXMLDocument& e) { // content that cannot be serialized
        throwAs<InvalidPartContent>(e);
    }
}

} // namespace opc::model
