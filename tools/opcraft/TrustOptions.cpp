// SPDX-License-Identifier: Apache-2.0
#include "opcraft/TrustOptions.hpp"

#include "opcraft/Failure.hpp"
#include "opcraft/Secrets.hpp"
#include "opcraft/Tool.hpp"

#include <opc/certificates/X509CertificateChain.hpp>

namespace opcraft {

void addTrustOptions(CLI::App& command, TrustOptions& options, CLI::Option* other) {
    CLI::Option* trust = addTexts(command, "--trust", options.files, "Trust the certificates in this file, PEM or DER");
    trust->type_name("FILE");
    CLI::Option* system =
        command.add_flag("--system-trust", options.system, "Trust the certificates that the system trusts")
            ->disable_flag_override();
    if (other != nullptr) {
        trust->excludes(other);
        system->excludes(other);
    }
}

opc::certificates::TrustStore makeTrustStore(const TrustOptions& options) {
    opc::certificates::TrustStore store;
    for (const std::string& file : options.files) {
        try {
            store.addCertificates(opc::certificates::X509CertificateChain::fromPEMOrDER(readSecret(file).get()));
        } catch (const opc::Exception& e) {
            throw toFailure(e, file, "");
        }
    }
    if (options.system)
        store.addSystemCertificates();
    return store;
}

opc::certificates::CertificateValidationOptions makeValidationOptions(const TrustOptions& options) {
    opc::certificates::CertificateValidationOptions validation;
    validation.setCheckChain(options.isTrusting());
    return validation;
}

} // namespace opcraft
