// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/X509Certificate.hpp>

#include "crypto/OpenSSL.hpp"

namespace opc::certificates {

struct X509Certificate::Impl {
    /// Not constant since OpenSSL's functions do not take constants; the ones called here do not change it.
    crypto::Certificate certificate;
    std::vector<unsigned char> der;

    X509* get() const { return certificate.get(); }
};

/// A time of OpenSSL in UTC; not-a-date-time when it is malformed or before the year 1400.
boost::posix_time::ptime toTime(const ASN1_TIME* time);

/// An object identifier in dotted form.
std::string toDotted(const ASN1_OBJECT* object);

/// A distinguished name in the form of RFC 4514, in UTF-8, with control characters escaped.
std::string toText(const X509_NAME* name);

/// @throws opc::Exception for a number of more than 1024 bytes, since writing in decimal takes quadratic time.
std::string toDecimal(const ASN1_INTEGER* number);

/// A certificate that OpenSSL holds, read anew in the library's own context.
/// @throws opc::Exception when OpenSSL fails.
X509Certificate copyOf(const X509* certificate, const crypto::ErrorScope& errors);

/// False when there is an extended key usage with nothing but the authentication of servers or clients.
bool isForMoreThanAuthentication(const X509* certificate);

} // namespace opc::certificates
