// SPDX-License-Identifier: Apache-2.0
#include "certificates/BundleReader.hpp"

#include "certificates/X509Impl.hpp"

#include <opc/core/Exception.hpp>

#include <climits>
#include <cstdint>
#include <utility>

namespace opc::certificates {

using crypto::ErrorScope;

namespace {

constexpr const char* MALFORMED = "The PKCS#12 file is malformed";
constexpr const char* UNSUPPORTED = "The PKCS#12 file is encrypted with an algorithm that is not supported";
constexpr const char* NOT_DECRYPTED = "The PKCS#12 file cannot be decrypted; the password may be wrong";

/// Files in use have up to a million rounds. This many take some seconds.
constexpr std::int64_t MAXIMUM_ROUNDS = 10'000'000;
constexpr int MAXIMUM_DEPTH = 16;

/// The parameters of an encryption that are checked before decryption.
struct Encryption {
    int cipher = NID_undef;
    const ASN1_INTEGER* rounds = nullptr; ///< one round when there is none
    crypto::Pbes1 oldParameters;
    crypto::Pbes2 parameters;
    crypto::Pbkdf2 derivation;
};

template <class T>
T* unpack(const ASN1_TYPE* type, const ASN1_ITEM* item) {
    return static_cast<T*>(ASN1_TYPE_unpack_sequence(item, type));
}

int identify(const X509_ALGOR* algorithm, const ASN1_TYPE*& parameter) {
    parameter = algorithm->parameter;
    return OBJ_obj2nid(algorithm->algorithm);
}

/// PKCS#5 version 2 (RFC 8018 §6.2), the current scheme.
Encryption describePbes2(const ASN1_TYPE* parameter, const ErrorScope& errors) {
    Encryption result;
    result.parameters.reset(unpack<PBE2PARAM>(parameter, ASN1_ITEM_rptr(PBE2PARAM)));
    errors.require(result.parameters != nullptr, MALFORMED);
    const ASN1_TYPE* unused = nullptr;
    result.cipher = identify(result.parameters->encryption, unused);
    const ASN1_TYPE* derivation = nullptr;
    if (identify(result.parameters->keyfunc, derivation) != NID_id_pbkdf2)
        errors.fail(UNSUPPORTED);
    result.derivation.reset(unpack<PBKDF2PARAM>(derivation, ASN1_ITEM_rptr(PBKDF2PARAM)));
    errors.require(result.derivation != nullptr, MALFORMED);
    result.rounds = result.derivation->iter;
    return result;
}

Encryption describe(const X509_ALGOR* algorithm, const ErrorScope& errors) {
    const ASN1_TYPE* parameter = nullptr;
    const int kind = identify(algorithm, parameter);
    if (kind == NID_pbes2)
        return describePbes2(parameter, errors);
    Encryption result;
    if (EVP_PBE_find(EVP_PBE_TYPE_OUTER, kind, &result.cipher, nullptr, nullptr) <= 0)
        errors.fail(UNSUPPORTED);
    result.oldParameters.reset(unpack<PBEPARAM>(parameter, ASN1_ITEM_rptr(PBEPARAM)));
    errors.require(result.oldParameters != nullptr, MALFORMED);
    result.rounds = result.oldParameters->iter;
    return result;
}

bool isAvailable(int cipher, OSSL_LIB_CTX* context) {
    const crypto::Cipher found(EVP_CIPHER_fetch(context, OBJ_nid2sn(cipher), nullptr));
    return found != nullptr;
}

/// The legacy context only for ciphers that need it.
OSSL_LIB_CTX* contextFor(int cipher, const ErrorScope& errors) {
    errors.require(cipher > 0, UNSUPPORTED);
    if (isAvailable(cipher, crypto::libraryContext()))
        return crypto::libraryContext();
    if (!isAvailable(cipher, crypto::legacyContext()))
        errors.fail(UNSUPPORTED);
    return crypto::legacyContext();
}

/// The bytes of the certificate in a bag. OpenSSL 3.0 returns it as an object of the program's own library context, so
/// it is extracted from the encoded bag: SEQUENCE { type, [0] { SEQUENCE { type, [0] { OCTET STRING } } } }.
std::vector<unsigned char> certificateIn(PKCS12_SAFEBAG* bag, const ErrorScope& errors) {
    const int size = i2d_PKCS12_SAFEBAG(bag, nullptr);
    errors.require(size > 0, MALFORMED);
    std::vector<unsigned char> der(static_cast<std::size_t>(size));
    unsigned char* written = der.data();
    i2d_PKCS12_SAFEBAG(bag, &written);

    const unsigned char* position = der.data();
    long length = size;
    for (const int wanted :
         {V_ASN1_SEQUENCE, V_ASN1_OBJECT, 0, V_ASN1_SEQUENCE, V_ASN1_OBJECT, 0, V_ASN1_OCTET_STRING}) {
        int tag = 0;
        int form = 0;
        const long left = der.data() + size - position;
        errors.require((ASN1_get_object(&position, &length, &tag, &form, left) & 0x80) == 0 && tag == wanted,
                       MALFORMED);
        if (wanted == V_ASN1_OBJECT)
            position += length;
    }
    return {position, position + length};
}

class Reader {
public:
    Reader(const std::string& password, const ErrorScope& errors)
        : password_(password.c_str()), length_(static_cast<int>(password.size())), errors_(errors) {}

    void checkMac(PKCS12* bundle);
    void read(PKCS12* bundle);

    BundleContent content;

private:
    void addRounds(const ASN1_INTEGER* rounds);
    OSSL_LIB_CTX* prepare(const X509_ALGOR* algorithm);
    void readSafe(PKCS7* safe);
    void readBags(const STACK_OF(PKCS12_SAFEBAG) * bags, int depth);
    void readBag(PKCS12_SAFEBAG* bag, int depth);
    void takeKey(const PKCS8_PRIV_KEY_INFO* key);

    const char* password_;
    int length_;
    const ErrorScope& errors_;
    std::int64_t rounds_ = 0;
};

/// Limits the rounds of the whole file, so that many small parts cost no more than a large one.
void Reader::addRounds(const ASN1_INTEGER* rounds) {
    std::int64_t count = 1;
    if (rounds && (ASN1_INTEGER_get_int64(&count, rounds) <= 0 || count < 1 || count > MAXIMUM_ROUNDS))
        count = MAXIMUM_ROUNDS + 1;
    rounds_ += count;
    if (rounds_ > MAXIMUM_ROUNDS)
        throw Exception("The PKCS#12 file asks for too many rounds of key derivation.");
}

OSSL_LIB_CTX* Reader::prepare(const X509_ALGOR* algorithm) {
    const Encryption encryption = describe(algorithm, errors_);
    addRounds(encryption.rounds);
    return contextFor(encryption.cipher, errors_);
}

void Reader::checkMac(PKCS12* bundle) {
    if (!PKCS12_mac_present(bundle))
        return;
    const ASN1_INTEGER* rounds = nullptr;
    PKCS12_get0_mac(nullptr, nullptr, nullptr, &rounds, bundle);
    addRounds(rounds);
    if (PKCS12_verify_mac(bundle, password_, length_))
        return;
    if (length_ == 0) { // some programs use no password, others an empty one
        addRounds(rounds);
        password_ = nullptr;
        if (PKCS12_verify_mac(bundle, nullptr, 0))
            return;
    }
    throw Exception("The password of the PKCS#12 file is wrong, or the file was changed.");
}

void Reader::read(PKCS12* bundle) {
    const crypto::Safes safes(PKCS12_unpack_authsafes(bundle));
    errors_.require(safes != nullptr, MALFORMED);
    for (int i = 0; i < sk_PKCS7_num(safes.get()); ++i)
        readSafe(sk_PKCS7_value(safes.get(), i));
}

void Reader::readSafe(PKCS7* safe) {
    crypto::Bags bags;
    if (PKCS7_type_is_data(safe)) {
        bags.reset(PKCS12_unpack_p7data(safe));
        errors_.require(bags != nullptr, MALFORMED);
    } else if (PKCS7_type_is_encrypted(safe)) {
        const PKCS7_ENC_CONTENT* data = safe->d.encrypted ? safe->d.encrypted->enc_data : nullptr;
        errors_.require(data && data->algorithm && data->enc_data, MALFORMED);
        OSSL_LIB_CTX* const context = prepare(data->algorithm);
        bags.reset(static_cast<STACK_OF(PKCS12_SAFEBAG)*>(
            PKCS12_item_decrypt_d2i_ex(data->algorithm, ASN1_ITEM_rptr(PKCS12_SAFEBAGS), password_, length_,
                                       data->enc_data, 1, context, nullptr)));
        errors_.require(bags != nullptr, NOT_DECRYPTED);
    } else {
        errors_.fail("The PKCS#12 file is protected by something other than a password");
    }
    readBags(bags.get(), 0);
}

void Reader::readBags(const STACK_OF(PKCS12_SAFEBAG) * bags, int depth) {
    if (depth > MAXIMUM_DEPTH)
        throw Exception("The PKCS#12 file is nested too deep.");
    for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i)
        readBag(sk_PKCS12_SAFEBAG_value(bags, i), depth);
}

void Reader::readBag(PKCS12_SAFEBAG* bag, int depth) {
    switch (PKCS12_SAFEBAG_get_nid(bag)) {
    case NID_keyBag:
        return takeKey(PKCS12_SAFEBAG_get0_p8inf(bag));
    case NID_pkcs8ShroudedKeyBag: {
        const X509_SIG* const encrypted = PKCS12_SAFEBAG_get0_pkcs8(bag);
        const X509_ALGOR* algorithm = nullptr;
        X509_SIG_get0(encrypted, &algorithm, nullptr);
        OSSL_LIB_CTX* const context = prepare(algorithm);
        const crypto::KeyInfo key(PKCS8_decrypt_ex(encrypted, password_, length_, context, nullptr));
        errors_.require(key != nullptr, NOT_DECRYPTED);
        return takeKey(key.get());
    }
    case NID_certBag:
        if (PKCS12_SAFEBAG_get_bag_nid(bag) == NID_x509Certificate)
            content.certificates.push_back(X509Certificate::fromDER(certificateIn(bag, errors_)));
        return;
    case NID_safeContentsBag:
        return readBags(PKCS12_SAFEBAG_get0_safes(bag), depth + 1);
    default: // revocation lists and secrets are ignored
        return;
    }
}

void Reader::takeKey(const PKCS8_PRIV_KEY_INFO* key) {
    if (!content.privateKey.get().empty())
        return;
    const int size = i2d_PKCS8_PRIV_KEY_INFO(key, nullptr);
    errors_.require(size > 0, MALFORMED);
    std::vector<unsigned char> der(static_cast<std::size_t>(size));
    unsigned char* end = der.data();
    i2d_PKCS8_PRIV_KEY_INFO(key, &end);
    content.privateKey = crypto::SecretBytes(std::move(der));
}

crypto::Bundle parse(const std::vector<unsigned char>& bytes, const ErrorScope& errors) {
    PKCS12* raw = PKCS12_init_ex(NID_pkcs7_data, crypto::libraryContext(), nullptr);
    errors.require(raw && bytes.size() <= INT_MAX, "The PKCS#12 file cannot be read");
    const unsigned char* position = bytes.data();
    const bool read = d2i_PKCS12(&raw, &position, static_cast<long>(bytes.size())) != nullptr;
    crypto::Bundle bundle(raw); // null when it was not read
    errors.require(read, "The bytes are not a PKCS#12 file");
    if (position != bytes.data() + bytes.size())
        throw Exception("Bytes follow the PKCS#12 file.");
    return bundle;
}

} // namespace

BundleContent readBundle(const std::vector<unsigned char>& bytes, const std::string& password) {
    const ErrorScope errors;
    if (password.find('\0') != std::string::npos || password.size() > INT_MAX)
        throw Exception("The password of a PKCS#12 file cannot contain a zero byte.");
    const crypto::Bundle bundle = parse(bytes, errors);
    Reader reader(password, errors);
    reader.checkMac(bundle.get());
    reader.read(bundle.get());
    return std::move(reader.content);
}

bool isKeyOf(const crypto::SecretBytes& privateKey, const X509Certificate& certificate) {
    if (privateKey.get().empty())
        return false;
    const ErrorScope errors;
    const unsigned char* position = privateKey.get().data();
    const crypto::KeyInfo info(d2i_PKCS8_PRIV_KEY_INFO(nullptr, &position, static_cast<long>(privateKey.get().size())));
    const crypto::Key key(info ? EVP_PKCS82PKEY_ex(info.get(), crypto::libraryContext(), nullptr) : nullptr);
    errors.require(key != nullptr, "The private key in the PKCS#12 file cannot be read");
    return X509_check_private_key(certificate.getImpl().get(), key.get()) == 1;
}

} // namespace opc::certificates
