// SPDX-License-Identifier: Apache-2.0
#include <opc/certificates/TimeStamp.hpp>

#include "certificates/Validation.hpp"
#include "certificates/X509Impl.hpp"

#include <opc/core/Exception.hpp>
#include <opc/crypto/CryptoEngine.hpp>

#include <openssl/cms.h>
#include <openssl/ts.h>

#include <utility>

namespace opc::certificates {

using crypto::DigestAlgorithm;
using crypto::ErrorScope;
using Bytes = std::vector<unsigned char>;

namespace {

inline void freeCertificates(STACK_OF(X509) * stack) {
    sk_X509_pop_free(stack, X509_free);
}

using Message = crypto::Owned<CMS_ContentInfo, CMS_ContentInfo_free>;
using Info = crypto::Owned<TS_TST_INFO, TS_TST_INFO_free>;
using SharedCertificates = crypto::Owned<STACK_OF(X509), freeCertificates>;

/// Tokens in use have some thousand bytes and a few certificates; some contain revocation lists.
constexpr std::size_t LARGEST_TOKEN = 1 << 20;
constexpr int MOST_CERTIFICATES = 50;

std::optional<DigestAlgorithm> toDigestAlgorithm(const ASN1_OBJECT* identifier) {
    switch (OBJ_obj2nid(identifier)) {
    case NID_md5:
        return DigestAlgorithm::MD5;
    case NID_sha1:
        return DigestAlgorithm::SHA1;
    case NID_sha224:
        return DigestAlgorithm::SHA224;
    case NID_sha256:
        return DigestAlgorithm::SHA256;
    case NID_sha384:
        return DigestAlgorithm::SHA384;
    case NID_sha512:
        return DigestAlgorithm::SHA512;
    default:
        return std::nullopt;
    }
}

std::optional<DigestAlgorithm> digestOf(const X509_ALGOR* algorithm) {
    const ASN1_OBJECT* identifier = nullptr;
    X509_ALGOR_get0(&identifier, nullptr, nullptr, algorithm);
    return toDigestAlgorithm(identifier);
}

Bytes toBytes(const ASN1_STRING* text) {
    const unsigned char* const data = ASN1_STRING_get0_data(text);
    return {data, data + ASN1_STRING_length(text)};
}

template <class Octets>
bool isDigest(const Bytes& value, DigestAlgorithm algorithm, const Octets& octets) {
    crypto::DigestEngine digest = crypto::CryptoEngine::createDigestEngine(algorithm);
    digest.update(reinterpret_cast<const unsigned char*>(octets.data()), octets.size());
    return digest.finish() == value;
}

// ---- reading

/// A CMS message in the library's own context: OpenSSL's functions for time stamps know only that of the program.
Message readMessage(const Bytes& der, const ErrorScope& errors) {
    if (der.size() > LARGEST_TOKEN)
        throw Exception("The time stamp is larger than 1 MiB.");
    CMS_ContentInfo* raw = CMS_ContentInfo_new_ex(crypto::libraryContext(), nullptr);
    errors.require(raw != nullptr, "The time stamp cannot be read");
    const unsigned char* position = der.data();
    const bool read = d2i_CMS_ContentInfo(&raw, &position, static_cast<long>(der.size())) != nullptr;
    Message message(raw); // null when it was not read
    errors.require(read, "The time stamp is not valid DER");
    if (position != der.data() + der.size())
        throw Exception("Bytes follow the time stamp.");
    return message;
}

/// RFC 3161 §2.4.2 asks for exactly one signer.
void throwIfNotTimeStamp(CMS_ContentInfo* message) {
    if (OBJ_obj2nid(CMS_get0_type(message)) != NID_pkcs7_signed ||
        OBJ_obj2nid(CMS_get0_eContentType(message)) != NID_id_smime_ct_TSTInfo || *CMS_get0_content(message) == nullptr)
        throw Exception("The bytes are not a time stamp but another message.");
    const int signers = sk_CMS_SignerInfo_num(CMS_get0_SignerInfos(message));
    if (signers != 1)
        throw Exception("The time stamp has " + std::to_string(signers) + " signers and not one.");
}

CMS_SignerInfo* signerOf(CMS_ContentInfo* message) {
    return sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(message), 0);
}

Info readInfo(CMS_ContentInfo* message, const ErrorScope& errors) {
    const ASN1_OCTET_STRING* const content = *CMS_get0_content(message);
    const unsigned char* position = ASN1_STRING_get0_data(content);
    const unsigned char* const end = position + ASN1_STRING_length(content);
    Info info(d2i_TS_TST_INFO(nullptr, &position, end - position));
    errors.require(info && position == end, "The content of the time stamp is malformed");
    if (TS_TST_INFO_get_version(info.get()) != 1 || TS_TST_INFO_get_ext_by_critical(info.get(), 1, -1) >= 0)
        throw Exception("The time stamp has a version or a critical extension that is not supported.");
    return info;
}

std::vector<X509Certificate> readCertificates(CMS_ContentInfo* message, const ErrorScope& errors) {
    const SharedCertificates found(CMS_get1_certs(message));
    const int count = sk_X509_num(found.get()); // -1 when there are none
    if (count > MOST_CERTIFICATES)
        throw Exception("The time stamp contains more than " + std::to_string(MOST_CERTIFICATES) + " certificates.");
    std::vector<X509Certificate> certificates;
    for (int i = 0; i < count; ++i)
        certificates.push_back(copyOf(sk_X509_value(found.get(), i), errors));
    return certificates;
}

// ---- verifying

crypto::TypeSequence sequenceIn(const ASN1_STRING* der) {
    if (der == nullptr)
        return nullptr;
    const unsigned char* position = ASN1_STRING_get0_data(der);
    return crypto::TypeSequence(d2i_ASN1_SEQUENCE_ANY(nullptr, &position, ASN1_STRING_length(der)));
}

/// Null when there is none of that type.
const ASN1_STRING* elementOf(const crypto::TypeSequence& sequence, int index, int type) {
    const ASN1_TYPE* const element = sk_ASN1_TYPE_value(sequence.get(), index);
    return element != nullptr && element->type == type ? element->value.asn1_string : nullptr;
}

/// The value of a signed attribute; null when there is none, more than one, or one of another type.
template <class Value>
const Value* attributeOf(const CMS_SignerInfo* signer, int identifier, int type) {
    constexpr int onlyOne = -3; // as OpenSSL writes it
    return static_cast<const Value*>(CMS_signed_get0_data_by_OBJ(signer, OBJ_nid2obj(identifier), onlyOne, type));
}

/// Whether an attribute names the certificate in its first place, that of the signer (RFC 5035 §3 and §4):
/// SEQUENCE { SEQUENCE { SEQUENCE { algorithm OPTIONAL, digest, … }, … }, … }.
bool namesFirst(const ASN1_STRING* attribute, DigestAlgorithm digest, const X509Certificate& certificate) {
    const auto identifiers = sequenceIn(elementOf(sequenceIn(attribute), 0, V_ASN1_SEQUENCE));
    const auto first = sequenceIn(elementOf(identifiers, 0, V_ASN1_SEQUENCE));
    const auto algorithm = sequenceIn(elementOf(first, 0, V_ASN1_SEQUENCE));
    const ASN1_STRING* const value = elementOf(first, algorithm ? 1 : 0, V_ASN1_OCTET_STRING);
    if (value == nullptr)
        return false;
    if (algorithm) {
        const ASN1_TYPE* const identifier = sk_ASN1_TYPE_value(algorithm.get(), 0);
        const auto named = identifier != nullptr && identifier->type == V_ASN1_OBJECT
                               ? toDigestAlgorithm(identifier->value.object)
                               : std::nullopt;
        return named && isDigest(toBytes(value), *named, certificate.toDER());
    }
    return isDigest(toBytes(value), digest, certificate.toDER());
}

/// By each attribute for it that is there, of which there has to be one.
bool namesCertificate(const CMS_SignerInfo* signer, const X509Certificate& certificate) {
    bool named = false;
    for (const auto& [identifier, digest] :
         {std::pair(NID_id_smime_aa_signingCertificate, DigestAlgorithm::SHA1),
          std::pair(NID_id_smime_aa_signingCertificateV2, DigestAlgorithm::SHA256)}) {
        if (CMS_signed_get_attr_by_NID(signer, identifier, -1) < 0)
            continue;
        if (!namesFirst(attributeOf<ASN1_STRING>(signer, identifier, V_ASN1_SEQUENCE), digest, certificate))
            return false;
        named = true;
    }
    return named;
}

/// OpenSSL does not compare the type that is signed (RFC 5652 §11.1).
bool isTypeSigned(const CMS_SignerInfo* signer) {
    return OBJ_obj2nid(attributeOf<ASN1_OBJECT>(signer, NID_pkcs9_contentType, V_ASN1_OBJECT)) ==
           NID_id_smime_ct_TSTInfo;
}

bool isDigestAccepted(CMS_SignerInfo* signer) {
    X509_ALGOR* algorithm = nullptr;
    CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, &algorithm, nullptr);
    const auto digest = digestOf(algorithm);
    return digest && *digest != DigestAlgorithm::MD5;
}

} // namespace

struct TimeStamp::Impl {
    Bytes der;
    boost::posix_time::ptime time;
    std::optional<DigestAlgorithm> digest;
    Bytes imprint;
    std::string policy;
    X509Certificate certificate;
    X509CertificateChain chain;
};

TimeStamp::TimeStamp(std::shared_ptr<const Impl> impl) noexcept : impl_(std::move(impl)) {}

TimeStamp TimeStamp::fromDER(const Bytes& der) {
    const ErrorScope errors;
    const Message message = readMessage(der, errors);
    throwIfNotTimeStamp(message.get());
    const Info info = readInfo(message.get(), errors);
    auto impl = std::make_shared<Impl>();
    impl->der = der;
    impl->time = toTime(TS_TST_INFO_get_time(info.get()));
    if (impl->time.is_special())
        throw Exception("The time of the time stamp is malformed.");
    impl->digest = digestOf(TS_MSG_IMPRINT_get_algo(TS_TST_INFO_get_msg_imprint(info.get())));
    impl->imprint = toBytes(TS_MSG_IMPRINT_get_msg(TS_TST_INFO_get_msg_imprint(info.get())));
    impl->policy = toDotted(TS_TST_INFO_get_policy_id(info.get()));
    for (const X509Certificate& each : readCertificates(message.get(), errors)) {
        if (impl->certificate.isEmpty() && CMS_SignerInfo_cert_cmp(signerOf(message.get()), each.getImpl().get()) == 0)
            impl->certificate = each;
        impl->chain.add(each);
    }
    return TimeStamp(std::move(impl));
}

const boost::posix_time::ptime& TimeStamp::getTime() const noexcept {
    return impl_->time;
}

std::optional<DigestAlgorithm> TimeStamp::getDigestAlgorithm() const noexcept {
    return impl_->digest;
}

const std::string& TimeStamp::getPolicy() const noexcept {
    return impl_->policy;
}

X509Certificate TimeStamp::getCertificate() const {
    return impl_->certificate;
}

bool TimeStamp::covers(const std::string& octets) const {
    return impl_->digest && isDigest(impl_->imprint, *impl_->digest, octets);
}

bool TimeStamp::isSignatureValid() const {
    if (impl_->certificate.isEmpty())
        return false;
    const ErrorScope errors;
    const Message message = readMessage(impl_->der, errors); // verifying changes it
    CMS_SignerInfo* const signer = signerOf(message.get());
    X509* const certificate = impl_->certificate.getImpl().get();
    if (X509_check_purpose(certificate, X509_PURPOSE_TIMESTAMP_SIGN, 0) != 1 || !isTypeSigned(signer) ||
        !isDigestAccepted(signer) || !namesCertificate(signer, impl_->certificate))
        return false;
    CMS_SignerInfo_set1_signer_cert(signer, certificate);
    return CMS_verify(message.get(), nullptr, nullptr, nullptr, nullptr, CMS_NO_SIGNER_CERT_VERIFY | CMS_BINARY) == 1;
}

CertificateValidationResults TimeStamp::validateCertificate(const TrustStore& trust,
                                                            const X509Certificate& signer) const {
    return validateForTimeStamping(impl_->certificate, impl_->chain, impl_->time, trust, signer);
}

} // namespace opc::certificates
