// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/PackageChange.hpp"
#include "opcraft/Tool.hpp"
#include "opcraft/TrustOptions.hpp"

#include <opc/certificates/X509Certificate.hpp>
#include <opc/certificates/X509CertificateChain.hpp>
#include <opc/crypto/SecretBytes.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <string>

namespace opcraft {

/// The options of the commands that sign.
struct SigningOptions : ChangeOptions {
    std::string key{};
    std::string certificate{};
    std::string chain{};
    std::string bundle{};
    std::string passwordFile{};
    std::string passwordVariable{};
    std::string digest = "sha256";
    TrustOptions trust{};
};

/// What the help says of keys and certificates.
extern const char* const SIGNING_HELP;

/// Those of every command that changes, too.
void addSigningOptions(CLI::App& command, SigningOptions& options);

/// A key and what vouches for it, ready to sign.
class Signer {
public:
    /// Reads keys and certificates, and looks at whether they go together and are good for signing.
    /// @throws Failure for wrong usage when the options do not go together, and naming the file that is wrong.
    explicit Signer(const SigningOptions& options);

    opc::model::DigitalSignature sign(opc::model::DigitalSignatureManager& manager,
                                      const opc::model::SigningRequest& request) const;
    opc::model::DigitalSignature countersign(opc::model::DigitalSignatureManager& manager) const;

private:
    void readKey(const SigningOptions& options);
    void readBundle(const SigningOptions& options);
    void takeKey(const std::vector<unsigned char>& bytes);
    void checkCertificate(const std::string& file) const;

    opc::crypto::SecretBytes key_;
    opc::certificates::X509Certificate certificate_; // empty: the signature carries the bare key
    opc::certificates::X509CertificateChain chain_;
    opc::model::SignatureParams params_;
    opc::certificates::CertificateValidationOptions validation_;
    opc::certificates::TrustStore trust_;
};

/// A package with signatures in the standard's form is not signed: a reader would find one form or the other.
/// @throws Failure
void throwIfSignedByOthers(PackageChange& change);

} // namespace opcraft
