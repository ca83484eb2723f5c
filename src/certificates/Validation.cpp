// SPDX-License-Identifier: Apache-2.0
#include <opc/certificates/TrustStore.hpp>
#include <opc/certificates/X509Certificate.hpp>
#include <opc/certificates/X509CertificateChain.hpp>

#include "certificates/Validation.hpp"
#include "certificates/X509Impl.hpp"

#include <opc/core/Exception.hpp>

#include <boost/date_time/posix_time/posix_time.hpp>

#include <algorithm>
#include <ctime>
#include <memory>
#include <new>

namespace opc::certificates {

using crypto::ErrorScope;

namespace {

/// OpenSSL's level for 80 bits of security, set explicitly so that the system's configuration does not matter.
constexpr int SECURITY_LEVEL = 1;

/// What OpenSSL does not check, since it knows no purpose of signing documents.
constexpr int ANY_PURPOSE = 0;

std::time_t pointInTimeOf(const CertificateValidationOptions& options) {
    const auto& time = options.getPointInTime();
    return time.is_special() ? std::time(nullptr) : static_cast<std::time_t>(boost::posix_time::to_time_t(time));
}

/// Checks one certificate as OpenSSL does for each certificate of a chain.
int checkTime(const X509* certificate, std::time_t time) {
    const int begun = X509_cmp_time(X509_get0_notBefore(certificate), &time);
    if (begun == 0)
        return X509_V_ERR_ERROR_IN_CERT_NOT_BEFORE_FIELD;
    if (begun > 0)
        return X509_V_ERR_CERT_NOT_YET_VALID;
    const int ended = X509_cmp_time(X509_get0_notAfter(certificate), &time);
    if (ended == 0)
        return X509_V_ERR_ERROR_IN_CERT_NOT_AFTER_FIELD;
    return ended < 0 ? X509_V_ERR_CERT_HAS_EXPIRED : X509_V_OK;
}

int checkAlone(X509* certificate, const CertificateValidationOptions& options) {
    if (X509_get_extension_flags(certificate) & EXFLAG_INVALID)
        return X509_V_ERR_INVALID_EXTENSION;
    return options.checksValidityTime() ? checkTime(certificate, pointInTimeOf(options)) : X509_V_OK;
}

crypto::Store makeStore(const TrustStore& trust, const ErrorScope& errors) {
    crypto::Store store(X509_STORE_new());
    errors.require(store != nullptr, "The certificate store cannot be created");
    for (const X509Certificate& certificate : trust.getCertificates())
        errors.require(X509_STORE_add_cert(store.get(), certificate.getImpl().get()) > 0,
                       "A certificate cannot be trusted");
    if (trust.hasSystemCertificates())
        errors.require(X509_STORE_set_default_paths_ex(store.get(), crypto::libraryContext(), nullptr) > 0,
                       "The certificates of the system cannot be used");
    return store;
}

crypto::BorrowedCertificates makeStack(const X509CertificateChain& chain, const ErrorScope& errors) {
    crypto::BorrowedCertificates stack(sk_X509_new_null());
    errors.require(stack != nullptr, "The certificate list cannot be created");
    for (const X509Certificate& certificate : chain.getCertificates())
        errors.require(sk_X509_push(stack.get(), certificate.getImpl().get()) > 0,
                       "The certificate list cannot be created");
    return stack;
}

void setParameters(X509_VERIFY_PARAM* parameters, const CertificateValidationOptions& options, int purpose) {
    X509_VERIFY_PARAM_set_auth_level(parameters, SECURITY_LEVEL);
    if (purpose != ANY_PURPOSE)
        X509_VERIFY_PARAM_set_purpose(parameters, purpose);
    X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_PARTIAL_CHAIN);
    if (options.checksValidityTime())
        X509_VERIFY_PARAM_set_time(parameters, pointInTimeOf(options));
    else // this flag is ignored when a time is set
        X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_NO_CHECK_TIME);
}

/// Checks the path without its two ends. The trust anchor may have any purpose.
bool isMadeForSignatures(STACK_OF(X509) * path) {
    for (int i = 1; i + 1 < sk_X509_num(path); ++i)
        if (!isForMoreThanAuthentication(sk_X509_value(path, i)))
            return false;
    return true;
}

using TrustAnchor = std::shared_ptr<const X509Certificate>;

/// Whether a certificate of the path has the key of this one; never for an empty one.
bool hasKeyOf(const X509Certificate& certificate, STACK_OF(X509) * path) {
    if (certificate.isEmpty())
        return false;
    const EVP_PKEY* const key = X509_get0_pubkey(certificate.getImpl().get());
    for (int i = 0; i < sk_X509_num(path); ++i)
        if (EVP_PKEY_eq(key, X509_get0_pubkey(sk_X509_value(path, i))) == 1)
            return true;
    return false;
}

int checkChain(X509* certificate, const X509CertificateChain& chain, const CertificateValidationOptions& options,
               const TrustStore& trust, int purpose, const X509Certificate& outsider, TrustAnchor& anchor) {
    const ErrorScope errors;
    const crypto::Store store = makeStore(trust, errors);
    const crypto::BorrowedCertificates untrusted = makeStack(chain, errors);
    const crypto::StoreContext context(X509_STORE_CTX_new_ex(crypto::libraryContext(), nullptr));
    errors.require(context && X509_STORE_CTX_init(context.get(), store.get(), certificate, untrusted.get()) > 0,
                   "The chain of certificates cannot be validated");
    setParameters(X509_STORE_CTX_get0_param(context.get()), options, purpose);
    if (X509_verify_cert(context.get()) != 1) {
        const int status = X509_STORE_CTX_get_error(context.get());
        return status == X509_V_OK ? X509_V_ERR_UNSPECIFIED : status;
    }
    STACK_OF(X509)* const path = X509_STORE_CTX_get0_chain(context.get());
    if ((options.checksPurpose() || purpose != ANY_PURPOSE) && !isMadeForSignatures(path))
        return X509_V_ERR_INVALID_PURPOSE;
    if (hasKeyOf(outsider, path))
        return X509_V_ERR_APPLICATION_VERIFICATION;
    const X509* const end = sk_X509_value(path, sk_X509_num(path) - 1);
    anchor = std::make_shared<const X509Certificate>(copyOf(end, errors));
    return X509_V_OK;
}

CertificateValidationResults toResults(int status, const TrustAnchor& anchor) {
    if (status == X509_V_OK)
        return CertificateValidationResults(0, {}, anchor);
    if (status == X509_V_ERR_OUT_OF_MEM)
        throw std::bad_alloc();
    if (status == X509_V_ERR_APPLICATION_VERIFICATION)
        return CertificateValidationResults(status, "its path contains the key of the signer");
    return CertificateValidationResults(status, X509_verify_cert_error_string(status));
}

} // namespace

CertificateValidationResults validateForTimeStamping(const X509Certificate& certificate,
                                                     const X509CertificateChain& chain,
                                                     const boost::posix_time::ptime& time, const TrustStore& trust,
                                                     const X509Certificate& signer) {
    CertificateValidationOptions options;
    options.setPointInTime(time);
    options.setCheckPurpose(false); // that of signing documents
    TrustAnchor anchor;
    const int status =
        checkChain(certificate.getImpl().get(), chain, options, trust, X509_PURPOSE_TIMESTAMP_SIGN, signer, anchor);
    return toResults(status, anchor);
}

bool X509Certificate::isValid(const CertificateValidationOptions& options) const {
    const ErrorScope errors;
    return checkAlone(getImpl().get(), options) == X509_V_OK;
}

CertificateValidationResults X509Certificate::validate(const X509CertificateChain& chain,
                                                       const CertificateValidationOptions& options,
                                                       const TrustStore& trust) const {
    const ErrorScope errors;
    X509* const certificate = getImpl().get();
    TrustAnchor anchor;
    int status = checkAlone(certificate, options);
    if (status == X509_V_OK && options.checksPurpose() && !allowsDigitalSignatures())
        status = X509_V_ERR_INVALID_PURPOSE;
    if (status == X509_V_OK && options.checksChain())
        status = checkChain(certificate, chain, options, trust, ANY_PURPOSE, {}, anchor);
    return toResults(status, anchor);
}

} // namespace opc::certificates
