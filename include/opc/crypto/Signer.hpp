// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/crypto/DigestEngine.hpp>
#include <opc/crypto/PublicKey.hpp>
#include <opc/crypto/SecretBytes.hpp>

#include <functional>
#include <memory>
#include <vector>

namespace opc::crypto {

/// Signs octets with a private key, wherever that lies: in memory (`KeySigner`), or, in a class of the caller's, in a
/// token, an agent or a service.
///
/// What it answers is verified with its public key before anything is done with it. Its exceptions go through to
/// whoever asked for the signature. Used by one thread at a time.
class OPCRAFT_API Signer {
public:
    virtual ~Signer();

    /// The key that verifies what this one signs; the same at every call.
    virtual PublicKey getPublicKey() const = 0;

    /// Whether it can sign with this digest.
    virtual bool supports(DigestAlgorithm digest) const = 0;

    /// A signature over the octets in the form that `PublicKey::verify` takes. A token that wants the digest computes
    /// it by `CryptoEngine::createDigestEngine`; RSA pads it as RFC 8017 §9.2 says.
    virtual std::vector<unsigned char> sign(DigestAlgorithm digest, const std::vector<unsigned char>& octets) = 0;

protected:
    Signer() = default;
    Signer(const Signer&) = default;
    Signer& operator=(const Signer&) = default;
};

/// A private key in memory: RSA or an elliptic curve, of the sizes and curves of `PublicKey`.
///
/// Copies share one key, whose memory is wiped when the last copy goes. The bytes that it is read from stay the
/// caller's, to be wiped by the caller (`wipe`, `SecretBytes`).
class OPCRAFT_API KeySigner final : public Signer {
public:
    /// Asked for a pass phrase, at most once for a file.
    using PassPhrase = std::function<SecretBytes()>;

    /// Reads a PrivateKeyInfo of PKCS#8 (RFC 5208), also encrypted, an RSAPrivateKey of PKCS#1 or an ECPrivateKey of
    /// SEC 1 (RFC 5915), in DER or in PEM, in PEM encrypted as well. Of several keys in PEM the first one counts.
    /// @param passPhrase called when the key is encrypted; its exceptions go through.
    /// @throws opc::Exception when the bytes are no such key, it is encrypted and there is no `passPhrase` or another
    ///         one, it is of another kind (DSA signs no more), or its public part is refused (see `PublicKey`).
    static KeySigner fromPEMOrDER(const std::vector<unsigned char>& bytes, const PassPhrase& passPhrase = {});

    ~KeySigner() override;
    KeySigner(const KeySigner&) = default;
    KeySigner& operator=(const KeySigner&) = default;

    PublicKey getPublicKey() const override;
    /// Every digest.
    bool supports(DigestAlgorithm digest) const override;
    /// @throws opc::Exception when `digest` is none of the enumerators, or the key cannot sign.
    std::vector<unsigned char> sign(DigestAlgorithm digest, const std::vector<unsigned char>& octets) override;

private:
    struct Impl;
    explicit KeySigner(std::shared_ptr<const Impl> impl);

    std::shared_ptr<const Impl> impl_;
};

} // namespace opc::crypto
