// SPDX-License-Identifier: Apache-2.0
#include <opc/certificates/X509Certificate.hpp>

#include <opc/certificates/X509CertificateChain.hpp>

#include "certificates/X509Impl.hpp"
#include "crypto/Pem.hpp"
#include "crypto/RSAKeys.hpp"

#include <opc/core/Exception.hpp>

#include <boost/date_time/posix_time/posix_time.hpp>

#include <algorithm>
#include <climits>
#include <exception>
#include <utility>

namespace opc::certificates {

using crypto::Bio;
using crypto::ErrorScope;

namespace {

std::string printName(const X509_NAME* name, unsigned long flags) {
    const Bio output(BIO_new(BIO_s_mem()));
    if (!output || X509_NAME_print_ex(output.get(), name, 0, flags) < 0)
        return {};
    char* text = nullptr;
    const long size = BIO_get_mem_data(output.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

constexpr int LONGEST_DECIMAL_NUMBER = 1024; // in bytes

std::string print(const ASN1_INTEGER* integer, decltype(&BN_bn2hex) print) {
    const ErrorScope errors;
    const crypto::Number number(ASN1_INTEGER_to_BN(integer, nullptr));
    const crypto::Text text(number ? print(number.get()) : nullptr);
    errors.require(text != nullptr, "A number cannot be written");
    return text.get();
}

crypto::ExtendedKeyUsage extendedKeyUsageOf(const X509* certificate) {
    return crypto::ExtendedKeyUsage(
        static_cast<EXTENDED_KEY_USAGE*>(X509_get_ext_d2i(certificate, NID_ext_key_usage, nullptr, nullptr)));
}

std::uint32_t flagOf(KeyUsage usage) {
    switch (usage) {
    case KeyUsage::DigitalSignature:
        return KU_DIGITAL_SIGNATURE;
    case KeyUsage::NonRepudiation:
        return KU_NON_REPUDIATION;
    case KeyUsage::KeyEncipherment:
        return KU_KEY_ENCIPHERMENT;
    case KeyUsage::DataEncipherment:
        return KU_DATA_ENCIPHERMENT;
    case KeyUsage::KeyAgreement:
        return KU_KEY_AGREEMENT;
    case KeyUsage::KeyCertSign:
        return KU_KEY_CERT_SIGN;
    case KeyUsage::CRLSign:
        return KU_CRL_SIGN;
    case KeyUsage::EncipherOnly:
        return KU_ENCIPHER_ONLY;
    case KeyUsage::DecipherOnly:
        return KU_DECIPHER_ONLY;
    }
    throw Exception("Unknown key usage.");
}

} // namespace

boost::posix_time::ptime toTime(const ASN1_TIME* time) {
    std::tm fields = {};
    if (ASN1_TIME_to_tm(time, &fields) != 1)
        return {};
    try {
        return boost::posix_time::ptime_from_tm(fields);
    } catch (const std::exception&) { // a year outside of the range of the type
        return {};
    }
}

std::string toDotted(const ASN1_OBJECT* object) {
    std::string text(static_cast<std::size_t>(std::max(0, OBJ_obj2txt(nullptr, 0, object, 1))) + 1, '\0');
    OBJ_obj2txt(text.data(), static_cast<int>(text.size()), object, 1);
    text.pop_back();
    return text;
}

/// A text that is not in the encoding it claims is escaped byte by byte.
std::string toText(const X509_NAME* name) {
    constexpr unsigned long ascii = XN_FLAG_RFC2253 & ~ASN1_STRFLGS_UTF8_CONVERT;
    std::string text = printName(name, XN_FLAG_RFC2253 & ~ASN1_STRFLGS_ESC_MSB);
    return text.empty() ? printName(name, ascii) : text;
}

std::string toDecimal(const ASN1_INTEGER* number) {
    if (ASN1_STRING_length(number) > LONGEST_DECIMAL_NUMBER)
        throw Exception("The serial number of the certificate is too long.");
    return print(number, BN_bn2dec);
}

X509Certificate copyOf(const X509* certificate, const ErrorScope& errors) {
    std::vector<unsigned char> der(static_cast<std::size_t>(std::max(0, i2d_X509(certificate, nullptr))));
    unsigned char* out = der.data();
    errors.require(!der.empty() && i2d_X509(certificate, &out) > 0, "A certificate cannot be written");
    return X509Certificate::fromDER(der);
}

bool isForMoreThanAuthentication(const X509* certificate) {
    const auto usages = extendedKeyUsageOf(certificate);
    if (!usages)
        return true;
    for (int i = 0; i < sk_ASN1_OBJECT_num(usages.get()); ++i) {
        const int purpose = OBJ_obj2nid(sk_ASN1_OBJECT_value(usages.get(), i));
        if (purpose != NID_server_auth && purpose != NID_client_auth)
            return true;
    }
    return false;
}

X509Certificate::X509Certificate() noexcept = default;
X509Certificate::X509Certificate(std::shared_ptr<const Impl> impl) noexcept : impl_(std::move(impl)) {}
X509Certificate::~X509Certificate() = default;
X509Certificate::X509Certificate(const X509Certificate&) noexcept = default;
X509Certificate& X509Certificate::operator=(const X509Certificate&) noexcept = default;

X509Certificate X509Certificate::fromDER(const std::vector<unsigned char>& der) {
    const ErrorScope errors;
    X509* raw = X509_new_ex(crypto::libraryContext(), nullptr);
    errors.require(raw && der.size() <= INT_MAX, "The certificate cannot be read");
    const unsigned char* position = der.data();
    const bool read = d2i_X509(&raw, &position, static_cast<long>(der.size())) != nullptr;
    crypto::Certificate certificate(raw); // null when it was not read
    errors.require(read, "The certificate is not valid DER");
    if (position != der.data() + der.size())
        throw Exception("Bytes follow the certificate.");
    X509_check_purpose(raw, -1, 0); // reads the extensions, once
    return X509Certificate(std::make_shared<const Impl>(Impl{std::move(certificate), der}));
}

X509Certificate X509Certificate::fromPEM(const std::string& text) {
    for (const crypto::PemBlock& block : crypto::readPem(text))
        if (block.label == "CERTIFICATE")
            return fromDER(block.bytes.get());
    throw Exception("The PEM text holds no certificate.");
}

X509Certificate X509Certificate::fromPEMOrDER(const std::vector<unsigned char>& bytes) {
    return crypto::looksLikePem(bytes) ? fromPEM({bytes.begin(), bytes.end()}) : fromDER(bytes);
}

const X509Certificate::Impl& X509Certificate::getImpl() const {
    if (!impl_)
        throw Exception("The certificate is empty.");
    return *impl_;
}

const std::vector<unsigned char>& X509Certificate::toDER() const {
    return getImpl().der;
}

std::string X509Certificate::toPEM() const {
    return crypto::writePem("CERTIFICATE", toDER());
}

std::string X509Certificate::getSubject() const {
    const ErrorScope errors;
    return toText(X509_get_subject_name(getImpl().get()));
}

std::string X509Certificate::getIssuer() const {
    const ErrorScope errors;
    return toText(X509_get_issuer_name(getImpl().get()));
}

std::string X509Certificate::getSerialNumber() const {
    return print(X509_get0_serialNumber(getImpl().get()), BN_bn2hex);
}

std::string X509Certificate::getDecimalSerialNumber() const {
    return toDecimal(X509_get0_serialNumber(getImpl().get()));
}

boost::posix_time::ptime X509Certificate::getNotBefore() const {
    const ErrorScope errors;
    return toTime(X509_get0_notBefore(getImpl().get()));
}

boost::posix_time::ptime X509Certificate::getNotAfter() const {
    const ErrorScope errors;
    return toTime(X509_get0_notAfter(getImpl().get()));
}

unsigned X509Certificate::getKeySize() const {
    const ErrorScope errors;
    const EVP_PKEY* key = X509_get0_pubkey(getImpl().get());
    return key ? static_cast<unsigned>(EVP_PKEY_get_bits(key)) : 0;
}

crypto::RSAPublicKey X509Certificate::getPublicKey() const {
    const ErrorScope errors;
    const EVP_PKEY* key = X509_get0_pubkey(getImpl().get());
    if (!key || !EVP_PKEY_is_a(key, "RSA"))
        throw Exception("The key of the certificate is not an RSA key.");
    return crypto::RSAPublicKey::fromDER(crypto::encodePublicKey(key, errors));
}

crypto::PublicKey X509Certificate::getSubjectPublicKey() const {
    const ErrorScope errors;
    const EVP_PKEY* key = X509_get0_pubkey(getImpl().get());
    errors.require(key != nullptr, "The key of the certificate cannot be read");
    return crypto::PublicKey::fromDER(crypto::encodePublicKey(key, errors));
}

bool X509Certificate::allowsKeyUsage(KeyUsage usage) const {
    const ErrorScope errors;
    return (X509_get_key_usage(getImpl().get()) & flagOf(usage)) != 0;
}

std::vector<std::string> X509Certificate::getExtendedKeyUsages() const {
    const ErrorScope errors;
    const auto usages = extendedKeyUsageOf(getImpl().get());
    std::vector<std::string> result;
    for (int i = 0; i < sk_ASN1_OBJECT_num(usages.get()); ++i) // -1 of them when there is no extension
        result.push_back(toDotted(sk_ASN1_OBJECT_value(usages.get(), i)));
    return result;
}

bool X509Certificate::allowsDigitalSignatures() const {
    const ErrorScope errors;
    return (allowsKeyUsage(KeyUsage::DigitalSignature) || allowsKeyUsage(KeyUsage::NonRepudiation)) &&
           isForMoreThanAuthentication(getImpl().get());
}

bool operator==(const X509Certificate& a, const X509Certificate& b) {
    return a.isEmpty() || b.isEmpty() ? a.isEmpty() == b.isEmpty() : a.toDER() == b.toDER();
}

bool operator!=(const X509Certificate& a, const X509Certificate& b) {
    return !(a == b);
}

} // namespace opc::certificates
