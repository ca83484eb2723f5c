// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/Package.hpp>
#include <opc/signatures/DigitalSignature.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include "signatures/CertificateTypes.hpp"
#include "signatures/PackageVerifier.hpp"
#include "signatures/SignatureFormRules.hpp"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace opc::model {

/// Makes a signature of a package, stores it in a part of its own and verifies it. What each function throws is said at
/// `DigitalSignatureManager::sign`. For one call of the manager.
class PackageSigner {
public:
    using MakeId = std::function<std::u16string()>;
    using Load = std::function<DigitalSignature(const Part&)>;

    /// @param form of the new signature.
    /// @param existing the signatures that the package has.
    /// @param makeId gives the id of the new signature; called when what is to be signed was found.
    /// @param load reads a stored signature of the form.
    PackageSigner(Package& package, const SignatureFormRules& form, const std::vector<DigitalSignature>& existing,
                  MakeId makeId, Load load);

    /// @param verificationKey empty: that of the signing key.
    DigitalSignature sign(const SigningRequest& request, const Bytes& signingKey, const Bytes& verificationKey,
                          const SignatureParams& params);
    DigitalSignature sign(const SigningRequest& request, const Bytes& signingKey, const X509Certificate& certificate,
                          const X509CertificateChain& chain, const CertificateValidationOptions& options,
                          const SignatureParams& params, const TrustStore& trustStore);
    DigitalSignature sign(const SigningRequest& request, const PKCS12Certificate& pkcs12,
                          const CertificateValidationOptions& options, const SignatureParams& params,
                          const TrustStore& trustStore);

    DigitalSignature sign(const SigningRequest& request, crypto::Signer& signer, const SigningOptions& options);

private:
    struct Material;
    struct Keys;

    PackageVerifier verifier() const;
    DigitalSignature sign(const SigningRequest& request, const Keys& keys);
    std::shared_ptr<DigitalSignatureData> make(const SigningRequest& request, DigestMethod digestMethod,
                                               const std::function<Material()>& prepare);
    /// Writes the signature, and deletes it again unless it is read and verified.
    DigitalSignature store(DigitalSignatureData& made);
    /// @param check may throw, so that the part is deleted.
    void writePart(DigitalSignatureData& signature, const std::function<void(const Part&)>& check = {});

    Package& package_;
    const SignatureFormRules& form_;
    const std::vector<DigitalSignature>& existing_;
    MakeId makeId_;
    Load load_;
};

} // namespace opc::model
