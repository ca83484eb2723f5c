// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/PackageChange.hpp"
#include "opcraft/Tool.hpp"

#include <opc/certificates/CertificateValidationOptions.hpp>
#include <opc/certificates/TrustStore.hpp>
#include <opc/certificates/X509Certificate.hpp>
#include <opc/certificates/X509CertificateChain.hpp>
#include <opc/crypto/SecretBytes.hpp>
#include <opc/crypto/Signer.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <optional>
#include <string>
#include <vector>

namespace opcraft {

/// Reads a file with a key, a certificate or a password, or the standard input for "-", into memory that is wiped.
/// @throws Failure naming the file when it cannot be read or is larger than 1 MiB.
opc::crypto::SecretBytes readSecret(const std::string& file);

/// The certificates that the user trusts: none by default.
struct TrustOptions {
    std::vector<std::string> files{};
    bool system = false;

    bool isTrusting() const noexcept { return system || !files.empty(); }
};

/// @param other an option that excludes trust in certificates; may be null.
void addTrustOptions(CLI::App& command, TrustOptions& options, CLI::Option* other = nullptr);

/// @throws Failure naming a file that cannot be read or holds no certificates.
opc::certificates::TrustStore makeTrustStore(const TrustOptions& options);

/// Checks the validity time and the purpose of a certificate, and its chain when certificates are trusted. The library
/// takes an empty store for that of the system, so it must not check a chain with one.
opc::certificates::CertificateValidationOptions makeValidationOptions(const TrustOptions& options);

/// The options of the commands that sign.
struct SigningOptions : ChangeOptions {
    std::string key{};
    std::string certificate{};
    std::string chain{};
    std::string bundle{};
    std::string passwordFile{};
    std::string passwordVariable{};
    std::string digest = "sha256";
    std::string comment{};
    TrustOptions trust{};
};

/// The paragraphs of the help on keys and certificates.
extern const char* const SIGNING_HELP;

/// Adds those of every command that changes a package, too.
void addSigningOptions(CLI::App& command, SigningOptions& options);

/// A key and its certificate, ready to sign.
class Signer {
public:
    /// Reads keys and certificates, and checks that they belong together and are good for signing. Asks for the pass
    /// phrase of an encrypted key on the terminal unless the options give one.
    /// @throws Failure for wrong usage when options exclude each other, and naming a file that is invalid.
    explicit Signer(const SigningOptions& options);

    opc::model::DigitalSignature sign(opc::model::DigitalSignatureManager& manager,
                                      const opc::model::SigningRequest& request) {
        findCountersignatures(manager);
        return manager.sign(request, *key_, options_);
    }
    opc::model::DigitalSignature countersign(opc::model::DigitalSignatureManager& manager) {
        findCountersignatures(manager);
        return manager.countersignAllSignatures(*key_, options_);
    }

    /// Tells of a key or a digest that is weak, of a form that other programs do not accept, and of countersignatures
    /// that do not cover the new signature.
    void warn(const std::string& file, Console& console) const;

private:
    void readKey(const SigningOptions& options);
    void readBundle(const SigningOptions& options);
    void checkCertificate(const std::string& file) const;
    void findCountersignatures(const opc::model::DigitalSignatureManager& manager);

    std::optional<opc::crypto::KeySigner> key_;
    opc::model::SigningOptions options_;
    opc::model::SignatureForm form_;
    std::vector<std::string> countersignatures_{}; ///< those before the new signature, which they do not cover
};

} // namespace opcraft
