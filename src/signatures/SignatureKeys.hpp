// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/crypto/RSAPrivateKey.hpp>
#include <opc/crypto/RSAPublicKey.hpp>
#include <opc/signatures/DigitalSignatureData.hpp>

#include <optional>
#include <string>
#include <vector>

namespace opc::model {

/// The value of a signature and the bytes that it signs, to be verified with several keys.
class SignatureValue {
public:
    /// @throws opc::Exception when the signature method is not an RSA method.
    explicit SignatureValue(const DigitalSignatureData& signature);

    /// Whether it is valid for the key, over `SignedInfo` in its canonical or its plain form. False also for a value
    /// that is not base64.
    /// @throws opc::Exception when OpenSSL fails.
    bool isValidFor(const crypto::RSAPublicKey& key) const;

private:
    DigestMethod digestMethod_;
    std::optional<std::vector<unsigned char>> value_;
    std::vector<std::string> signedInfos_;
};

/// Of the certificates in a signature, the one whose key verifies it becomes that of the signer, or the first when none
/// does. The others become the chain, in their order.
void chooseSigner(DigitalSignatureData& signature, std::vector<certificates::X509Certificate> certificates);

/// Derives the parameters of a signature that was read from its method and the size of its key or, without a key, the
/// length of its value. The digest is unchanged when the method is not an RSA method.
/// @throws opc::Exception for a size without a signature method.
void deriveParams(DigitalSignatureData& signature);

/// A coarse check of the lengths of encoded keys, before they are parsed.
/// @param publicKey empty: not checked.
/// @throws opc::Exception (the base itself) when a length is impossible for keys of the parameters' size.
/// @throws CouldNotGenerateSignature when the parameters have no valid size.
void throwIfKeyLengthIsOff(const std::vector<unsigned char>& privateKey, const std::vector<unsigned char>& publicKey,
                           const SignatureParams& params);

/// @throws NotImplemented for a key of a size other than 1024, 2048 or 4096 bits.
/// @throws opc::Exception when the bytes are not a key.
crypto::RSAPrivateKey readPrivateKey(const std::vector<unsigned char>& bytes);
crypto::RSAPublicKey readPublicKey(const std::vector<unsigned char>& bytes);
crypto::RSAPublicKey readPublicKey(const certificates::X509Certificate& certificate);

/// Whether the key size is that of the parameters.
bool fitsParams(unsigned keySize, const SignatureParams& params) noexcept;

/// The message for a key of another size.
extern const char* const KEY_DOES_NOT_FIT;

} // namespace opc::model
