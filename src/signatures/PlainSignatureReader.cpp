// SPDX-License-Identifier: Apache-2.0
#include "signatures/PlainSignatureReader.hpp"

#include "signatures/KeyInfoReader.hpp"
#include "signatures/SignatureKeys.hpp"

#include <opc/core/Characters.hpp>
#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace opc::model {

namespace {

using crypto::CryptoEngine;
using ReferenceData = DigitalSignatureData::ReferenceData;
using View = std::string_view;

/// Elements within one another, from `Signature` to a selector of relationships.
constexpr std::uint64_t DEPTH = 7;

// What the values are made of. No character has to be escaped in XML, or is white space.
constexpr auto ID_CHARACTERS = detail::makeTable(detail::isUnreserved);
constexpr auto NAME_CHARACTERS =
    detail::makeTable([](char32_t c) { return detail::isLetter(c) || detail::isDigit(c); });
constexpr auto BASE64_CHARACTERS =
    detail::makeTable([](char32_t c) { return NAME_CHARACTERS[c] || c == U'+' || c == U'/' || c == U'='; });
constexpr auto TIME_CHARACTERS =
    detail::makeTable([](char32_t c) { return NAME_CHARACTERS[c] || c == U'-' || c == U':'; });
constexpr auto URI_CHARACTERS = detail::makeTable(
    [](char32_t c) { return (detail::isPathCharacter(c) && c != U'&' && c != U'\'') || c == U'?' || c == U'%'; });
constexpr auto IDENTIFIER_CHARACTERS = detail::makeTable([](char32_t c) { return URI_CHARACTERS[c] || c == U'#'; });
using Characters = std::array<bool, 0x80>;

const std::string DSIG = toASCIIString(DSIG_NAMESPACE);

/// Caught by the reader alone.
[[noreturn]] void giveUp() {
    throw Exception("The part is not plain.");
}

std::u16string wide(View text) {
    return {text.begin(), text.end()};
}

/// Goes over the text from tag to tag.
class Text {
public:
    explicit Text(View text) : rest_(text) {}

    View rest() const noexcept { return rest_; }

    bool accept(View markup) {
        const bool isNext = rest_.starts_with(markup);
        if (isNext)
            rest_.remove_prefix(markup.size());
        return isNext;
    }

    void expect(View markup) {
        if (!accept(markup))
            giveUp();
    }

    /// A value, which is not empty, and the markup behind it.
    View take(const Characters& characters, View markup) {
        std::size_t size = 0;
        while (size < rest_.size() && isIn(characters, rest_[size]))
            ++size;
        const View value = rest_.substr(0, size);
        rest_.remove_prefix(size);
        if (value.empty())
            giveUp();
        expect(markup);
        return value;
    }

private:
    static bool isIn(const Characters& characters, char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte < characters.size() && characters[byte];
    }

    View rest_;
};

/// Follows `SignatureDocumentWriter`.
class PlainReading {
public:
    PlainReading(View text, const SignatureFormRules& form) : text_(text), form_(form) { data_.form = form.form; }

    DigitalSignatureData read() {
        text_.expect("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Signature Id=\"Signature");
        const std::u16string id = wide(text_.take(NAME_CHARACTERS, "\" xmlns=\"" + DSIG + "\">"));
        readSignedInfo();
        text_.expect("<SignatureValue>");
        data_.signatureValue = readBase64("</SignatureValue><KeyInfo>");
        auto certificates = readKeyInfo();
        readPackageObject(u"#Signature" + id);
        text_.expect("</Signature>");
        if (!text_.rest().empty())
            giveUp();
        chooseSigner(data_, std::move(certificates));
        deriveParams(data_);
        return std::move(data_);
    }

private:
    void readSignedInfo() {
        data_.canonicalizationMethod = AlgorithmURIMap::getAlgorithmURI(form_.canonicalization);
        text_.expect("<SignedInfo xmlns=\"" + DSIG + "\"><CanonicalizationMethod Algorithm=\"" +
                     toASCIIString(data_.canonicalizationMethod) +
                     "\"></CanonicalizationMethod><SignatureMethod Algorithm=\"");
        data_.signatureMethod = wide(text_.take(IDENTIFIER_CHARACTERS, "\"></SignatureMethod>"));
        AlgorithmURIMap::getSigningParameters(data_.signatureMethod); // throws for one that is not known
        ReferenceData reference;
        reference.type = form_.objectReferenceType;
        reference.uri = URI(u"#" + std::u16string(PACKAGE_OBJECT_ID));
        text_.expect("<Reference Type=\"" + toASCIIString(reference.type) + "\" URI=\"" +
                     toASCIIString(reference.uri.toString()) + "\">");
        readDigest("\"></DigestMethod><DigestValue>", reference);
        data_.signedInfoReferences.push_back(std::move(reference));
        text_.expect("</SignedInfo>");
    }

    /// @param markup between the method and the value.
    void readDigest(View markup, ReferenceData& reference) {
        text_.expect("<DigestMethod Algorithm=\"");
        const View method = text_.take(IDENTIFIER_CHARACTERS, markup);
        if (method != digestMethod_) {
            AlgorithmURIMap::getDigestMethod(wide(method)); // throws for one that is not known
            digestMethod_ = method;
        }
        reference.digestMethod = wide(method);
        reference.digestValue = readBase64("</DigestValue></Reference>");
    }

    std::u16string readBase64(View markup) {
        const View value = text_.take(BASE64_CHARACTERS, markup);
        CryptoEngine::decodeBase64(value); // throws for one that is not base64
        return wide(value);
    }

    std::vector<unsigned char> readBytes(View markup) {
        return CryptoEngine::decodeBase64(text_.take(BASE64_CHARACTERS, markup));
    }

    /// @return the certificates; none when there is a bare key.
    std::vector<certificates::X509Certificate> readKeyInfo() {
        std::vector<certificates::X509Certificate> found;
        if (text_.accept("<KeyValue><RSAKeyValue><Modulus>")) {
            const auto modulus = readBytes("</Modulus><Exponent>");
            const auto exponent = readBytes("</Exponent></RSAKeyValue></KeyValue></KeyInfo>");
            data_.publicKey = crypto::RSAPublicKey::fromModulusAndExponent(modulus, exponent);
            return found;
        }
        text_.expect("<X509Data><X509Certificate>");
        do {
            if (found.size() >= MAXIMUM_CERTIFICATES)
                giveUp();
            found.push_back(certificates::X509Certificate::fromDER(readBytes("</X509Certificate>")));
        } while (text_.accept("<X509Certificate>"));
        text_.expect("</X509Data></KeyInfo>");
        return found;
    }

    /// @param target of its properties: the signature.
    void readPackageObject(const std::u16string& target) {
        const View start = text_.rest();
        const std::string tag = "<Object ";
        text_.expect(tag + "Id=\"" + toASCIIString(PACKAGE_OBJECT_ID) + "\" xmlns:pds=\"" +
                     toASCIIString(PACKAGE_SIGNATURE_NAMESPACE) + "\"><Manifest>");
        while (text_.accept("<Reference URI=\""))
            readManifestReference();
        if (data_.manifestReferences.empty())
            giveUp();
        data_.manifestReferences.shrink_to_fit(); // there may be thousands
        text_.expect("</Manifest><SignatureProperties>");
        readTime(target);
        text_.expect("</SignatureProperties></Object>");
        const View object = start.substr(tag.size(), start.size() - text_.rest().size() - tag.size());
        // An element by itself is given with the namespace that it has from the signature.
        const std::string before = tag + "xmlns=\"" + DSIG + "\" ";
        std::u16string element(before.size() + object.size(), u'\0');
        std::copy(object.begin(), object.end(), std::copy(before.begin(), before.end(), element.begin()));
        data_.objects.push_back({PACKAGE_OBJECT_ID, std::move(element)});
    }

    void readManifestReference() {
        ReferenceData reference;
        const View uri = text_.take(URI_CHARACTERS, "\">");
        if (!uri.starts_with('/') || uri.starts_with("//"))
            giveUp();
        reference.uri = URI(wide(uri));
        if (text_.accept("<Transforms><Transform Algorithm=\""))
            readSelectors(reference);
        readDigest("\"/><DigestValue>", reference);
        data_.manifestReferences.push_back(std::move(reference));
    }

    void readSelectors(ReferenceData& reference) {
        reference.transforms.emplace_back(form_.relationshipTransform);
        text_.expect(relationshipTransform_);
        while (text_.accept("<pds:RelationshipReference SourceId=\""))
            reference.relationshipSourceIds.push_back(wide(text_.take(ID_CHARACTERS, "\"/>")));
        while (text_.accept(groupReference_)) {
            reference.relationshipSourceTypes.push_back(wide(text_.take(IDENTIFIER_CHARACTERS, "\"/>")));
            const URI checked(reference.relationshipSourceTypes.back());
        }
        if (reference.relationshipSourceIds.empty() && reference.relationshipSourceTypes.empty())
            giveUp();
        text_.expect("</Transform></Transforms>");
    }

    void readTime(const std::u16string& target) {
        DigitalSignatureData::SignaturePropertyData property{target, SIGNATURE_TIME_ID, MINUTES_FORMAT, {}};
        text_.expect("<SignatureProperty Id=\"" + toASCIIString(property.id) + "\" Target=\"" + toASCIIString(target) +
                     "\"><pds:SignatureTime><pds:Format>" + toASCIIString(property.format) +
                     "</pds:Format><pds:Value>");
        property.value = wide(text_.take(TIME_CHARACTERS, "</pds:Value></pds:SignatureTime></SignatureProperty>"));
        data_.signedTime = convertStringToTime(property.value);
        if (data_.signedTime.is_special() || convertTimeToString(data_.signedTime, TimeForm::Minutes) != property.value)
            giveUp();
        data_.signatureProperties.push_back(std::move(property));
    }

    Text text_;
    const SignatureFormRules& form_;
    const std::string relationshipTransform_ = toASCIIString(form_.relationshipTransform) + "\">";
    const std::string groupReference_ = "<pds:" + toASCIIString(form_.groupReferenceElement) + " SourceType=\"";
    View digestMethod_; ///< the last one that was known
    DigitalSignatureData data_;
};

/// Whether a text has surely not too many nodes. Each has one of these characters.
bool isWithinLimits(View text, const Limits& limits) {
    const auto nodes = std::count(text.begin(), text.end(), '<') + std::count(text.begin(), text.end(), '=');
    return text.size() <= limits.xmlSize && DEPTH <= limits.xmlDepth &&
           static_cast<std::uint64_t>(nodes) <= limits.xmlNodes;
}

} // namespace

std::optional<DigitalSignatureData> readPlainSignature(const std::vector<unsigned char>& bytes,
                                                       const SignatureFormRules& form, const Limits& limits) {
    const View text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (!isWithinLimits(text, limits))
        return std::nullopt;
    try {
        return PlainReading(text, form).read();
    } catch (const Exception&) {
        return std::nullopt;
    }
}

} // namespace opc::model
