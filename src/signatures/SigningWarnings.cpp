// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/SigningWarnings.hpp>

namespace opc::model {

std::vector<std::string> findSigningWarnings(const crypto::PublicKey& key, SignatureForm form,
                                             const SigningOptions& options) {
    std::vector<std::string> warnings;
    if (key.getKind() == crypto::KeyKind::RSA && key.getKeySize() < 2048)
        warnings.push_back("the key is weak: RSA with " + std::to_string(key.getKeySize()) +
                           " bits; 2048 are the least that is safe");
    if (options.digestMethod == DigestMethod::SHA224)
        warnings.emplace_back("the digest is weak: SHA-224; SHA-256 is safe, and more programs know it");
    if (form != SignatureForm::Library && options.certificate.isEmpty())
        warnings.emplace_back("without a certificate other programs do not accept the signature");
    return warnings;
}

} // namespace opc::model
