// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Secrets.hpp"
#include "opcraft/Signatures.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/TrustOptions.hpp"
#include "opcraft/VerifyReport.hpp"

#include <opc/crypto/RSAPublicKey.hpp>

#include <memory>

namespace opcraft {

namespace {

using opc::model::CoverageReport;
using opc::model::DigitalSignatureManager;
using opc::model::SignatureReport;

struct VerifyOptions : ReadOptions {
    TrustOptions trust{};
    std::string publicKey{};
    bool allowUntrusted = false;
    bool explain = false;
};

/// Everything of the command line that files stand behind.
struct Judges {
    opc::certificates::TrustStore trust;
    opc::certificates::CertificateValidationOptions validation;
    std::vector<unsigned char> publicKey; ///< DER; empty: what the signatures carry decides
};

Judges readJudges(const VerifyOptions& options) {
    std::vector<std::string> files = options.trust.files;
    files.insert(files.end(), {options.file, options.publicKey});
    throwIfSharedInput(files);
    Judges judges{makeTrustStore(options.trust), makeValidationOptions(options.trust), {}};
    if (options.publicKey.empty())
        return judges;
    try {
        judges.publicKey = opc::crypto::RSAPublicKey::fromPEMOrDER(readSecret(options.publicKey).get()).toDER();
    } catch (const opc::Exception& e) {
        throw toFailure(e, options.publicKey, "");
    }
    return judges;
}

std::vector<CheckedSignature> check(const DigitalSignatureManager& manager, const Judges& judges) {
    return judges.publicKey.empty() ? checkSignatures(manager, judges.validation, judges.trust)
                                    : checkSignatures(manager, judges.publicKey);
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

void verify(OpenPackage& package, const Judges& judges, const VerifyPolicy& policy, VerifyReport& report) {
    const DigitalSignatureManager& manager = package.getSignatureManager();
    const std::vector<std::string> otherItems = package.getInput().getZip().getOtherItems();
    std::vector<SignatureReport> reports;
    for (const CheckedSignature& each : check(manager, judges)) {
        std::vector<SignatureReport> own;
        if (each.report)
            own.push_back(*each.report);
        reports.insert(reports.end(), own.begin(), own.end());
        report.signatures.push_back(judge(each, policy));
        report.signatures.back().coverage = entryOf(manager.examineCoverage(own, otherItems));
    }
    relateSignatures(report.signatures);
    report.coverage = entryOf(manager.examineCoverage(reports, otherItems));
    addOtherKinds(findSignatures(package), report);
}

VerifyReport makeReport(const VerifyOptions& options) {
    const Judges judges = readJudges(options);
    const VerifyPolicy policy{options.trust.isTrusting(), options.allowUntrusted};
    VerifyReport report{options.file};
    report.allowsUntrusted = options.allowUntrusted;
    try {
        OpenPackage package(options);
        verify(package, judges, policy, report);
    } catch (const UnreadableSignatures& e) {
        report.problem = e.what();
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

constexpr const char* help =
    "Says of every signature whether the cryptography holds, and what was changed first if it does not;\n"
    "who vouches for the key; and what the signature covers and what not.\n\n"
    "Nobody is trusted unless --trust or --system-trust says so. A certificate has to be valid today: the\n"
    "time of signing is the signer's word. Revocation is not looked up, nothing uses the network. With\n"
    "--public-key, all signatures have to be made by that key, and certificates do not count.\n\n"
    "The exit code is 0 only when every signature holds and is vouched for by a trusted certificate or the\n"
    "public key; with --allow-untrusted, when every signature holds. It is 1 when one does not, when the\n"
    "signatures cannot be read any longer, and when there are none, and 2 when all that were checked are\n"
    "fine, but there are others, in the standard's form or of the whole file.\n\n"
    "Examples:\n  opcraft verify letter.docx --trust ca.pem\n  opcraft verify letter.docx --public-key alice.pub "
    "--explain";

} // namespace

void addVerifyCommand(Tool& tool) {
    const auto options = std::make_shared<VerifyOptions>();
    options->consistent = true;
    options->signatures = true;
    CLI::App* command = addCommand(tool, "verify", "Verify the signatures of a package", help);
    addReadOptions(*command, *options);
    CLI::Option* publicKey =
        command->add_option("--public-key", options->publicKey, "The public key that made the signatures, PEM or DER")
            ->type_name("FILE");
    addTrustOptions(*command, options->trust, publicKey);
    command->add_flag("--allow-untrusted", options->allowUntrusted, "Do not ask who signed")->disable_flag_override();
    command->add_flag("--explain", options->explain, "Show everything that each signature covers")
        ->disable_flag_override();
    command->callback([&tool, options] {
        tool.action = {options->file, "", [options](Console& console) { return verify(*options, console); }};
    });
}

} // namespace opcraft
