// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/crypto/RSAPrivateKey.hpp>
#include <opc/crypto/RSAPublicKey.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>

#include <optional>
#include <string>
#include <vector>

namespace opc::model {

/// The value of a signature and what it is over, to try keys on.
class SignatureValue {
public:
    /// @throws opc::Exception when the signature method is not one of RSA.
    explicit SignatureValue(const DigitalSignatureData& signature);

    /// Whether it is one of the key, over `SignedInfo` in its canonical or its plain form. False also for a value that
    /// is no base64.
    /// @throws opc::Exception when OpenSSL fails.
    bool isOf(const crypto::RSAPublicKey& key) const;

private:
    DigestMethod digestMethod_;
    std::optional<std::vector<unsigned char>> value_;
    std::vector<std::string> signedInfos_;
};

/// The base64 text of the value that the key makes over `SignedInfo`.
/// @throws opc::Exception when OpenSSL fails.
std::u16string makeSignatureValue(const DigitalSignatureData& signature, const crypto::RSAPrivateKey& key);

/// Of the certificates that a signature carries, makes the one whose key verifies that of the signer; the first when
/// none does. The others are its chain, in their order.
void chooseSigner(DigitalSignatureData& signature, std::vector<certificates::X509Certificate> certificates);

/// Takes the parameters of a signature that was read from its method and the size of its key, or the length of its
/// value when no key came with it. A method that is none of RSA leaves the digest as it is.
/// @throws opc::Exception for a size that no signature method has.
void deriveParams(DigitalSignatureData& signature);

/// A coarse look at the lengths of keys in bytes, before anything is made of them.
/// @param publicKey empty: not looked at.
/// @throws opc::Exception (the base itself) when a length is not one of keys of the parameters' size.
/// @throws CouldNotGenerateSignature when the parameters have no size.
void throwIfKeyLengthIsOff(const std::vector<unsigned char>& privateKey, const std::vector<unsigned char>& publicKey,
                           const SignatureParams& params);

/// @throws NotImplemented for a key that has not 1024, 2048 or 4096 bits.
/// @throws opc::Exception when the bytes are no key.
crypto::RSAPrivateKey readPrivateKey(const std::vector<unsigned char>& bytes);
crypto::RSAPublicKey readPublicKey(const std::vector<unsigned char>& bytes);
crypto::RSAPublicKey readPublicKey(const certificates::X509Certificate& certificate);

/// Whether a key of that size is one of the parameters.
bool fitsParams(unsigned keySize, const SignatureParams& params) noexcept;

/// What a key of another size is told.
extern const char* const KEY_DOES_NOT_FIT;

} // namespace opc::model
