// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <memory>
#include <string>

/// RAII for OpenSSL's objects, its error queue and its library contexts.
namespace opc::crypto {

template <auto release>
struct Releaser {
    template <class T>
    void operator()(T* object) const noexcept {
        release(object);
    }
};
template <class T, auto release>
using Owned = std::unique_ptr<T, Releaser<release>>;

inline void freeBorrowed(STACK_OF(X509) * stack) {
    sk_X509_free(stack);
}
inline void freeBags(STACK_OF(PKCS12_SAFEBAG) * bags) {
    sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
}
inline void freeSafes(STACK_OF(PKCS7) * safes) {
    sk_PKCS7_pop_free(safes, PKCS7_free);
}
inline void freeText(char* text) {
    OPENSSL_free(text);
}
inline void freeTypes(ASN1_SEQUENCE_ANY* types) {
    sk_ASN1_TYPE_pop_free(types, ASN1_TYPE_free);
}

using Key = Owned<EVP_PKEY, EVP_PKEY_free>;
using KeyContext = Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using Number = Owned<BIGNUM, BN_free>;
using Digest = Owned<EVP_MD, EVP_MD_free>;
using DigestContext = Owned<EVP_MD_CTX, EVP_MD_CTX_free>;
using Cipher = Owned<EVP_CIPHER, EVP_CIPHER_free>;
using Parameters = Owned<OSSL_PARAM, OSSL_PARAM_free>;
using ParameterBuilder = Owned<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free>;
using Bio = Owned<BIO, BIO_free_all>;
using Text = Owned<char, freeText>;
using TypeSequence = Owned<ASN1_SEQUENCE_ANY, freeTypes>;
using KeyInfo = Owned<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;
using Certificate = Owned<X509, X509_free>;
using BorrowedCertificates = Owned<STACK_OF(X509), freeBorrowed>;
using ExtendedKeyUsage = Owned<EXTENDED_KEY_USAGE, EXTENDED_KEY_USAGE_free>;
using Store = Owned<X509_STORE, X509_STORE_free>;
using StoreContext = Owned<X509_STORE_CTX, X509_STORE_CTX_free>;
using Bundle = Owned<PKCS12, PKCS12_free>;
using Bags = Owned<STACK_OF(PKCS12_SAFEBAG), freeBags>;
using Safes = Owned<STACK_OF(PKCS7), freeSafes>;
using Pbes2 = Owned<PBE2PARAM, PBE2PARAM_free>;
using Pbkdf2 = Owned<PBKDF2PARAM, PBKDF2PARAM_free>;
using Pbes1 = Owned<PBEPARAM, PBEPARAM_free>;

/// The OpenSSL errors of one call. Every public function that calls OpenSSL declares one before its first handle. The
/// destructor removes the errors of the call from the thread's error queue and keeps the earlier ones.
class ErrorScope {
public:
    ErrorScope() noexcept;
    ~ErrorScope();
    ErrorScope(const ErrorScope&) = delete;
    ErrorScope& operator=(const ErrorScope&) = delete;

    /// @throws opc::Exception with `what` and OpenSSL's latest reason, if there is one; std::bad_alloc when that reason
    ///         is a failed allocation.
    [[noreturn]] void fail(const std::string& what) const;

    /// Fails unless `succeeded`.
    void require(bool succeeded, const char* what) const {
        if (!succeeded)
            fail(what);
    }
};

/// The library context, with OpenSSL's default provider only.
OSSL_LIB_CTX* libraryContext();

/// A context with the legacy provider as well, for ciphers of old PKCS#12 files.
/// @throws opc::Exception when OpenSSL was installed without that provider.
OSSL_LIB_CTX* legacyContext();

} // namespace opc::crypto
