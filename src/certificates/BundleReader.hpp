// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/X509Certificate.hpp>
#include <opc/crypto/SecretBytes.hpp>

#include <string>
#include <vector>

namespace opc::certificates {

/// The content of a PKCS#12 file.
struct BundleContent {
    crypto::SecretBytes privateKey; ///< PKCS#8; empty when there is none
    std::vector<X509Certificate> certificates;
};

/// Decrypts a PKCS#12 file (RFC 7292).
/// @throws opc::Exception as the constructor of `PKCS12Certificate` says.
BundleContent readBundle(const std::vector<unsigned char>& bytes, const std::string& password);

/// Whether this is the certificate of the private key. False for an empty key.
/// @throws opc::Exception when the key is malformed.
bool isKeyOf(const crypto::SecretBytes& privateKey, const X509Certificate& certificate);

} // namespace opc::certificates
