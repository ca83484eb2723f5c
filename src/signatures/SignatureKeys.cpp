// SPDX-License-Identifier: Apache-2.0
#include "signatures/SignatureKeys.hpp"

#include <opc/core/Strings.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/crypto/UnsupportedKeySize.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/signatures/AlgorithmURIMap.hpp>

#include "signatures/Base64.hpp"
#include "signatures/Digests.hpp"
#include "signatures/SignatureDocumentWriter.hpp"

#include <algorithm>
#include <utility>

namespace opc::model {

namespace {

using crypto::CryptoEngine;

const unsigned char* asBytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

/// The size of the signer's key in bits. Without a key it is the length of the signature value.
unsigned keySizeOf(const DigitalSignatureData& signature) {
    if (signature.publicKey)
        return signature.publicKey->getKeySize();
    if (!signature.certificate.isEmpty())
        return signature.certificate.getKeySize();
    const auto value = fromBase64(signature.signatureValue);
    return value ? static_cast<unsigned>(value->size() * 8) : 0;
}

template <class Action>
auto translatingKeySize(Action action) -> decltype(action()) {
    try {
        return action();
    } catch (const crypto::UnsupportedKeySize&) {
        throw NotImplemented("Only 1024, 2048 or 4096 bits RSA signatures are supported.");
    }
}

void throwIfNotWithin(std::size_t length, unsigned least, unsigned most, unsigned bits, const char* purpose) {
    if (length < least || length > most)
        throw Exception("Invalid key was provided. " + std::to_string(bits) + "-bit key was expected for " + purpose);
}

} // namespace

const char* const KEY_DOES_NOT_FIT = "Verification material doesn't match the signature parameters in the signature.";

SignatureValue::SignatureValue(const DigitalSignatureData& signature)
    : digestMethod_(AlgorithmURIMap::getSigningParameters(signature.signatureMethod).getDigestMethod()),
      value_(fromBase64(signature.signatureValue)) {
    for (const SignedInfoForm form : {SignedInfoForm::Canonical, SignedInfoForm::Plain})
        signedInfos_.push_back(SignatureDocumentWriter::makeSignedInfo(signature, form));
}

bool SignatureValue::isValidFor(const crypto::RSAPublicKey& key) const {
    if (!value_)
        return false;
    crypto::RSAVerifier verifier = CryptoEngine::createRSAVerifier(key, toDigestAlgorithm(digestMethod_));
    return std::any_of(signedInfos_.begin(), signedInfos_.end(), [&](const std::string& bytes) {
        verifier.update(asBytes(bytes), bytes.size());
        return verifier.verify(*value_).isSignatureValid();
    });
}

void chooseSigner(DigitalSignatureData& signature, std::vector<certificates::X509Certificate> certificates) {
    if (certificates.empty())
        return;
    auto signer = certificates.begin();
    if (certificates.size() > 1) {
        try {
            const SignatureValue value(signature);
            const auto found = std::find_if(certificates.begin(), certificates.end(), [&value](const auto& each) {
                try {
                    return value.isValidFor(each.getPublicKey());
                } catch (const Exception&) { // an unsupported key
                    return false;
                }
            });
            signer = found == certificates.end() ? signer : found;
        } catch (const Exception&) { // reported by verification
        }
    }
    signature.certificate = *signer;
    certificates.erase(signer);
    signature.certificateChain = certificates::X509CertificateChain(std::move(certificates));
}

void deriveParams(DigitalSignatureData& signature) {
    DigestMethod digestMethod = signature.signatureParams.getDigestMethod();
    try {
        digestMethod = AlgorithmURIMap::getSigningParameters(signature.signatureMethod).getDigestMethod();
    } catch (const Exception&) { // reported by verification
    }
    signature.signatureParams = {digestMethod, toSignatureMethod(keySizeOf(signature))};
}

void throwIfKeyLengthIsOff(const std::vector<unsigned char>& privateKey, const std::vector<unsigned char>& publicKey,
                           const SignatureParams& params) {
    unsigned bits = 0;
    try {
        bits = toKeySize(params.getSignatureMethod());
    } catch (const Exception&) {
        throw CouldNotGenerateSignature("Unable to determine the correct key size from the signature data.");
    }
    throwIfNotWithin(privateKey.size(), bits / 2, bits, bits, "signing");
    if (!publicKey.empty())
        throwIfNotWithin(publicKey.size(), bits / 8, bits / 4, bits, "verification ");
}

crypto::RSAPrivateKey readPrivateKey(const std::vector<unsigned char>& bytes) {
    return translatingKeySize([&bytes] { return crypto::RSAPrivateKey::fromDER(bytes); });
}

crypto::RSAPublicKey readPublicKey(const std::vector<unsigned char>& bytes) {
    return translatingKeySize([&bytes] { return crypto::RSAPublicKey::fromDER(bytes); });
}

crypto::RSAPublicKey readPublicKey(const certificates::X509Certificate& certificate) {
    return translatingKeySize([&certificate] { return certificate.getPublicKey(); });
}

bool fitsParams(unsigned keySize, const SignatureParams& params) noexcept {
    try {
        return keySize == toKeySize(params.getSignatureMethod());
    } catch (const Exception&) {
        return false;
    }
}

} // namespace opc::model
