// SPDX-License-Identifier: Apache-2.0
#include "crypto/OpenSSL.hpp"

#include <opc/core/Exception.hpp>

#include <openssl/err.h>
#include <openssl/provider.h>

#include <initializer_list>
#include <new>

namespace opc::crypto {

namespace {

/// A marker in the error queue: the errors after it are those of the call.
constexpr int START_OF_CALL = 1;

using Context = Owned<OSSL_LIB_CTX, OSSL_LIB_CTX_free>;

/// Contexts are never freed: a key or certificate in a static object may outlive every static object of the library.
OSSL_LIB_CTX* makeContext(std::initializer_list<const char*> providers) {
    const ErrorScope errors;
    Context context(OSSL_LIB_CTX_new());
    errors.require(context != nullptr, "OpenSSL has no library context");
    for (const char* provider : providers)
        if (!OSSL_PROVIDER_load(context.get(), provider))
            errors.fail(std::string("OpenSSL's ") + provider + " provider cannot be loaded");
    return context.release();
}

} // namespace

ErrorScope::ErrorScope() noexcept {
    ERR_set_mark();
    ERR_raise(ERR_LIB_USER, START_OF_CALL);
}

// Without a mark, as when the queue was empty, this empties the queue.
ErrorScope::~ErrorScope() {
    ERR_pop_to_mark();
}

void ErrorScope::fail(const std::string& what) const {
    const unsigned long error = ERR_peek_last_error();
    if (ERR_GET_REASON(error) == ERR_R_MALLOC_FAILURE)
        throw std::bad_alloc();
    const bool isReported = ERR_GET_LIB(error) != ERR_LIB_USER || ERR_GET_REASON(error) != START_OF_CALL;
    const char* reason = isReported ? ERR_reason_error_string(error) : nullptr;
    throw Exception(reason ? what + " (OpenSSL: " + reason + ")" : what);
}

OSSL_LIB_CTX* libraryContext() {
    static OSSL_LIB_CTX* const context = makeContext({"default"});
    return context;
}

OSSL_LIB_CTX* legacyContext() {
    static OSSL_LIB_CTX* const context = makeContext({"default", "legacy"});
    return context;
}

} // namespace opc::crypto
