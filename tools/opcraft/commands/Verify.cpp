// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Keys.hpp"
#include "opcraft/SignatureParts.hpp"
#include "opcraft/VerifyReport.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/crypto/RSAPublicKey.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <map>

namespace opcraft {

namespace {

using opc::model::CoverageScope;
using opc::model::DigitalSignatureManager;
using opc::model::SignatureReport;

const std::map<std::string, RequiredCoverage> COVERAGES = {
    {"content", RequiredCoverage::Content}, {"all", RequiredCoverage::All}, {"any", RequiredCoverage::Any}};

struct VerifyOptions : ReadOptions {
    TrustOptions trust{};
    std::string publicKey{};
    std::string coverage = "content";
    bool allowUntrusted = false;
    bool explain = false;
};

/// The keys and certificates of the command line.
struct VerificationKeys {
    opc::certificates::TrustStore trust;
    opc::certificates::CertificateValidationOptions validation;
    std::vector<unsigned char> publicKey; ///< in DER; empty: the keys of the signatures are used
};

VerificationKeys readKeys(const VerifyOptions& options) {
    std::vector<std::string> files = options.trust.files;
    files.insert(files.end(), {options.file, options.publicKey});
    throwIfSharedInput(files);
    VerificationKeys keys{makeTrustStore(options.trust), makeValidationOptions(options.trust), {}};
    if (options.publicKey.empty())
        return keys;
    try {
        keys.publicKey = opc::crypto::RSAPublicKey::fromPEMOrDER(readSecret(options.publicKey).get()).toDER();
    } catch (const opc::Exception& e) {
        throw toFailure(e, options.publicKey, "");
    }
    return keys;
}

std::vector<SignatureReport> examine(const DigitalSignatureManager& manager, const VerificationKeys& keys) {
    return keys.publicKey.empty() ? manager.examineAllSignatures(keys.validation, keys.trust)
                                  : manager.examineAllSignatures(keys.publicKey);
}

void addOtherKinds(const Signatures& found, VerifyReport& report) {
    report.standard = found.standard;
    report.pkcs7 = found.pkcs7;
    report.loose = found.xml;
    for (const std::string& part : found.standard)
        report.loose.erase(part);
    for (const SignatureVerdict& verdict : report.signatures)
        report.loose.erase(verdict.entry.part);
}

void verify(OpenPackage& package, const VerificationKeys& keys, const VerifyPolicy& policy, VerifyReport& report) {
    const DigitalSignatureManager& manager = package.getSignatureManager();
    const std::vector<std::string> otherItems = package.getInput().getZip().getOtherItems();
    const std::vector<SignatureReport> reports = examine(manager, keys);
    for (const SignatureReport& each : reports)
        report.signatures.push_back(judge(each, policy));
    const CoverageScope scope = policy.coverage == RequiredCoverage::All ? CoverageScope::All : CoverageScope::Content;
    const auto coverage = manager.examineCoverage(reports, otherItems, scope);
    for (std::size_t i = 0; i < coverage.size(); ++i)
        report.signatures[i].coverage = entryOf(coverage[i]);
    relateSignatures(report.signatures);
    report.coverage = commonCoverage(report.signatures);
    addOtherKinds(findSignatures(package), report);
}

VerifyReport makeReport(const VerifyOptions& options) {
    const VerificationKeys keys = readKeys(options);
    const VerifyPolicy policy{options.trust.isTrusting(), options.allowUntrusted, COVERAGES.at(options.coverage)};
    VerifyReport report{options.file};
    report.allowsUntrusted = options.allowUntrusted;
    report.namesSigners = options.trust.system && !options.allowUntrusted;
    report.required = policy.coverage;
    try {
        OpenPackage package(options);
        verify(package, keys, policy, report);
    } catch (const UnreadableSignatures& e) {
        report.problem = e.what();
        report.place = e.getPlace();
    }
    report.verdict = judge(report, policy);
    return report;
}

ExitCode exitCodeOf(Verdict verdict) {
    if (verdict == Verdict::Unchecked)
        return ExitCode::NotProcessed;
    return verdict == Verdict::Valid ? ExitCode::Fine : ExitCode::Findings;
}

ExitCode verify(const VerifyOptions& options, Console& console) {
    const VerifyReport report = makeReport(options);
    console.write(options.json ? toJsonText(toJson(report)) : toText(report, options.explain));
    return exitCodeOf(report.verdict);
}

constexpr const char* HELP =
    "Says of every signature whether the cryptography holds, and what was changed first if it does not;\n"
    "who vouches for the key; and what the signature covers and what not.\n\n"
    "Nobody is trusted unless --trust or --system-trust says so. A certificate has to be valid today: the\n"
    "time of signing is the signer's word. Revocation is not looked up, nothing uses the network. With\n"
    "--public-key, all signatures have to be made by that key, and certificates do not count.\n\n"
    "The exit code is 0 only when there is a signature, every one holds and is vouched for by a trusted\n"
    "certificate or the public key (or --allow-untrusted is given), and each one by itself covers the\n"
    "content; a countersignature covers every other signature instead. Content is all but the core and\n"
    "extended properties and the thumbnail of the package, when nothing else leads to them, what ties the\n"
    "signatures to it, folders and [trash]/; docs/signatures.md has the exact rule. --coverage all leaves\n"
    "out neither properties nor thumbnail, --coverage any does not ask what is covered. What external\n"
    "targets hold is never signed.\n\n"
    "The exit code is 1 when one of these does not hold, the signatures cannot be read any longer or there\n"
    "are none, and 2 when those that were checked hold, but there are others, in the standard's form or\n"
    "of the whole file. With --system-trust anybody with a certificate from anywhere may have signed: the\n"
    "last line says who it was.\n\n"
    "Examples:\n  opcraft verify letter.docx --trust ca.pem\n  opcraft verify letter.docx --public-key alice.pub "
    "--explain";

void addOptions(CLI::App& command, VerifyOptions& options) {
    options.consistent = true;
    options.signatures = true;
    addReadOptions(command, options);
    CLI::Option* publicKey =
        command.add_option("--public-key", options.publicKey, "The public key that made the signatures, PEM or DER")
            ->type_name("FILE");
    addTrustOptions(command, options.trust, publicKey);
    addFlag(command, "--allow-untrusted", options.allowUntrusted, "Do not ask who signed");
    command.add_option("--coverage", options.coverage, "What each signature has to cover: content, all or any")
        ->type_name("SCOPE")
        ->capture_default_str()
        ->transform(oneOf(COVERAGES));
    addFlag(command, "--explain", options.explain, "Show everything that each signature covers");
}

} // namespace

void addVerifyCommand(Tool& tool) {
    addCommand<VerifyOptions>(tool, {"verify", "Verify the signatures of a package", HELP, addOptions, verify});
}

} // namespace opcraft
