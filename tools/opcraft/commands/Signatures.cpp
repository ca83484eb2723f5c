// SPDX-License-Identifier: Apache-2.0
#include "opcraft/OpenPackage.hpp"
#include "opcraft/SignatureClaims.hpp"
#include "opcraft/SignatureParts.hpp"
#include "opcraft/SignatureText.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/signatures/DigitalSignatureManager.hpp>

#include <set>
#include <sstream>
#include <vector>

namespace opcraft {

namespace {

struct SignaturesOptions : ReadOptions {
    bool dump = false;
};

struct SignaturesReport {
    std::string file;
    std::vector<SignatureSummary> signatures;
    std::set<std::string> pkcs7;
};

std::string signerText(const SignatureSummary& entry) {
    if (entry.certificate.isEmpty())
        return detailLine("Signer", entry.fingerprint.empty() ? "neither a key nor a certificate" : "a bare key");
    const opc::certificates::X509Certificate& certificate = entry.certificate;
    return detailLine("Signer", subjectText(certificate)) + detailLine("Issuer", certificate.getIssuer()) +
           detailLine("Serial number", certificate.getSerialNumber()) +
           detailLine("Valid",
                      "from " + timeText(certificate.getNotBefore()) + " to " + timeText(certificate.getNotAfter()));
}

std::string claimedCertificateLine(const SignatureSummary& entry) {
    const std::string named = claimedCertificateText(entry.data->standard.properties);
    return named.empty() ? std::string() : detailLine("Certificate", "XAdES names one: " + named);
}

std::string toText(const SignatureSummary& entry) {
    const std::string start = titleOf(entry) + detailLine("Part", entry.part);
    if (!entry.problem.empty())
        return start + detailLine("Problem", "cannot be read: " + entry.problem);
    const std::size_t stamps = entry.data->standard.unsignedProperties.timeStamps.size();
    return start + headLines(entry) + detailLine("Algorithm", algorithmOf(entry)) + signerText(entry) +
           (entry.fingerprint.empty() ? "" : detailLine("Key SHA-256", entry.fingerprint)) +
           claimedCertificateLine(entry) + claimLines(*entry.data) +
           (stamps == 0 ? "" : detailLine("Time stamps", std::to_string(stamps))) +
           detailLine("Names", countText(entry.parts, "part") + ", " + countText(entry.relationships, "relationship"));
}

std::string toText(const SignaturesReport& report) {
    std::string text;
    for (const SignatureSummary& entry : report.signatures)
        text += toText(entry);
    text += pkcs7Text(report.pkcs7.size());
    if (text.empty())
        return "No signatures.\n";
    return text + "Nothing of this was verified; 'opcraft verify' does that.\n";
}

Json toJson(const SignaturesReport& report) {
    Json json = makeJsonReport("signatures", report.file);
    json["verified"] = false;
    json["signatures"] = toJsonArray(report.signatures, [](const SignatureSummary& entry) {
        Json each = opcraft::toJson(entry);
        each["parts"] = entry.parts;
        each["relationships"] = entry.relationships;
        return each;
    });
    json["standard"] = Json::array(); // they are among the signatures
    json["pkcs7"] = report.pkcs7;
    return json;
}

/// Escapes the lines of the library, which has names and texts as in the package.
std::string dump(const opc::model::DigitalSignatureManager& manager) {
    std::stringstream stream;
    for (const opc::model::DigitalSignature& signature : manager.getSignatures())
        prettyPrint(stream, *signature.getImpl());
    std::string text;
    for (std::string line; std::getline(stream, line);)
        text += escaped(line) + '\n';
    return text;
}

ExitCode listSignatures(const SignaturesOptions& options, Console& console) {
    OpenPackage package(options);
    const opc::model::DigitalSignatureManager& manager = package.getSignatureManager();
    if (options.dump && !manager.getSignatures().empty()) {
        console.write(dump(manager));
        return ExitCode::Fine;
    }
    SignaturesReport report{options.file, {}, findSignatures(package).pkcs7};
    for (const opc::model::DigitalSignature& signature : manager.getSignatures())
        report.signatures.push_back(summarize(manager, signature));
    console.write(options.json ? toJsonText(toJson(report)) : toText(report));
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, SignaturesOptions& options) {
    options.signatures = true;
    CLI::Option* json = addReadOptions(command, options);
    addFlag(command, "--dump", options.dump, "Show the whole content of the signatures")->excludes(json);
}

} // namespace

void addSignaturesCommand(Tool& tool) {
    addCommand<SignaturesOptions>(
        tool, {"signatures", "List the signatures of a package",
               "Shows what the signatures say of themselves. Nothing is verified: anyone can write a signature\n"
               "that says anything.\n\n"
               "Examples:\n  opcraft signatures letter.docx\n  opcraft signatures letter.docx --dump",
               addOptions, listSignatures});
}

} // namespace opcraft
