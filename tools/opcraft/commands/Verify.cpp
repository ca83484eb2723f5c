// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Keys.hpp"
#include "opcraft/Names.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/VerifyReport.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>
#include <opc/crypto/PublicKey.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <algorithm>
#include <array>
#include <map>

namespace opcraft {

namespace {

using opc::model::DigestMethod;
using opc::model::DigitalSignature;
using opc::model::DigitalSignatureManager;
using opc::model::JudgementOptions;
using opc::model::RequiredCoverage;
using opc::model::ValidationTime;
using opc::model::Verdict;

const std::map<std::string, RequiredCoverage> COVERAGES = {
    {"content", RequiredCoverage::Content}, {"all", RequiredCoverage::All}, {"any", RequiredCoverage::Any}};

const std::map<std::string, DigestMethod> DIGESTS = {
    {"md5", DigestMethod::MD5},       {"sha1", DigestMethod::SHA1},     {"sha224", DigestMethod::SHA224},
    {"sha256", DigestMethod::SHA256}, {"sha384", DigestMethod::SHA384}, {"sha512", DigestMethod::SHA512}};

struct VerifyOptions : ReadOptions {
    std::vector<std::string> files{};
    TrustOptions trust{};
    std::string publicKey{};
    std::string time{};
    std::string coverage = "content";
    std::string weakestDigest{};
    ColorWhen color = ColorWhen::Auto;
    std::vector<std::string> signers{};
    bool allowUntrusted = false;
    bool strict = false;
    bool explain = false;
    unsigned dumped = 0; ///< the number of a reference, from 1; 0: none
    std::string signature{};
};

void setTime(const std::string& text, opc::model::VerificationOptions& verification) {
    if (text == "signed")
        verification.time = ValidationTime::Signed;
    else if (text == "stamped")
        verification.time = ValidationTime::Stamped;
    else if (const auto time = opc::convertStringToTime(toUtf16(text)); !time.is_special())
        verification.validation.setPointInTime(time);
    else
        throw wrongArgument(text, "not a time (2026-01-31T10:00:00Z, or 2026-01-31), \"signed\" or \"stamped\"");
}

/// @throws Failure naming a file that is no key or certificate.
JudgementOptions readDemands(const VerifyOptions& options) {
    std::vector<std::string> files = options.files;
    files.insert(files.end(), options.trust.files.begin(), options.trust.files.end());
    files.push_back(options.publicKey);
    throwIfSharedInput(files);
    JudgementOptions demands;
    demands.allowsUntrusted = options.allowUntrusted;
    demands.coverage = COVERAGES.at(options.coverage);
    demands.signers = options.signers;
    if (!options.weakestDigest.empty())
        demands.weakestDigest = DIGESTS.at(options.weakestDigest);
    opc::model::VerificationOptions& verification = demands.verification;
    verification.validation = makeValidationOptions(options.trust);
    verification.trust = makeTrustStore(options.trust);
    verification.strict = options.strict;
    if (!options.time.empty())
        setTime(options.time, verification);
    if (options.publicKey.empty())
        return demands;
    try {
        verification.publicKey = opc::crypto::PublicKey::fromPEMOrDER(readSecret(options.publicKey).get()).toDER();
    } catch (const opc::Exception& e) {
        throw toFailure(e, options.publicKey, "");
    }
    return demands;
}

opc::model::PackageJudgement judge(const VerifyOptions& options, const JudgementOptions& demands) {
    try {
        OpenPackage package(options);
        package.getInput().expectReading();
        return judgeSignatures(package.getSignatureManager(), package.getInput().getStore(), demands);
    } catch (const UnreadableSignatures& e) {
        opc::model::PackageJudgement judgement;
        judgement.verdict = Verdict::Unreadable;
        judgement.problem = e.what();
        judgement.place = e.getPlace();
        return judgement;
    }
}

VerifyReport makeReport(const VerifyOptions& options, const JudgementOptions& demands) {
    VerifyReport report{options.file, judge(options, demands), demands.coverage};
    report.allowsUntrusted = options.allowUntrusted;
    report.namesSigners = options.trust.system && !options.allowUntrusted;
    report.showsValidationTime = !options.time.empty();
    return report;
}

ExitCode exitCodeOf(Verdict verdict) {
    if (verdict == Verdict::Unchecked)
        return ExitCode::NotProcessed;
    return verdict == Verdict::Valid ? ExitCode::Fine : ExitCode::Findings;
}

/// Of the verdicts.
Color colorOfVerdict(std::string_view line) {
    if (line.starts_with("Every signature holds"))
        return Color::Green;
    const auto startsLine = [line](const char* text) { return line.starts_with(text); };
    return std::ranges::any_of(std::array{"Not every signature ", "No signatures.", "The package was changed ",
                                          "The signatures are of a kind ", "  Cryptography   does not hold"},
                               startsLine)
               ? Color::Red
               : Color::None;
}

/// @param each called with the report of each file that can be processed.
/// @return the highest exit code.
template <class Action>
ExitCode forEachReport(const VerifyOptions& options, Console& console, Action each) {
    const JudgementOptions demands = readDemands(options);
    ExitCode highest = ExitCode::Fine;
    for (const std::string& file : options.files) {
        const auto verifyOne = [&](Console&) {
            VerifyOptions one = options;
            one.file = file;
            const VerifyReport report = makeReport(one, demands);
            each(report);
            return exitCodeOf(report.judgement.verdict);
        };
        highest = std::max(highest, run({file, "", verifyOne}, console));
    }
    return highest;
}

ExitCode reportAsJson(const VerifyOptions& options, Console& console) {
    Json reports = Json::array();
    const ExitCode code =
        forEachReport(options, console, [&](const VerifyReport& report) { reports.push_back(toJson(report)); });
    if (options.files.size() > 1)
        reports = {{"version", JSON_VERSION}, {"command", "verify"}, {"files", reports}};
    else if (!reports.empty())
        reports = Json(reports.front());
    if (!reports.empty())
        console.write(toJsonText(reports));
    return code;
}

ExitCode reportAsText(const VerifyOptions& options, Console& console) {
    return forEachReport(
        options, console,
        [&](const VerifyReport& report) {
            const std::string title = options.files.size() > 1 ? escaped(report.file) + ":\n" : "";
            console.write(title + toText(report, options.explain), colorOfVerdict, options.color);
        });
}

DigitalSignature findSignature(const DigitalSignatureManager& manager, const std::string& name) {
    const std::vector<DigitalSignature> signatures = manager.getSignatures();
    if (name.empty() && signatures.size() != 1)
        throw Failure(ExitCode::NotProcessed, "", "",
                      countText(signatures.size(), "signature") +
                          (signatures.empty() ? "" : "; --signature says which one is meant"));
    for (const DigitalSignature& signature : signatures)
        if (name.empty() || toUtf8(signature.getName()) == name)
            return signature;
    throw Failure(ExitCode::NotProcessed, "", "",
                  "no signature \"" + name + "\"; 'opcraft signatures' shows those of a package");
}

ExitCode dumpReference(const VerifyOptions& options, Console& console) {
    if (options.files.size() > 1)
        throw Failure(ExitCode::WrongUsage, "", "", "--dump-reference takes one FILE");
    OpenPackage package(options);
    const DigitalSignatureManager& manager = package.getSignatureManager();
    const std::vector<unsigned char> octets =
        manager.getReferenceOctets(findSignature(manager, options.signature), options.dumped - 1);
    console.write({reinterpret_cast<const char*>(octets.data()), octets.size()});
    return ExitCode::Fine;
}

ExitCode verify(const VerifyOptions& options, Console& console) {
    if (options.dumped != 0)
        return dumpReference(options, console);
    return options.json ? reportAsJson(options, console) : reportAsText(options, console);
}

constexpr const char* HELP =
    "Reports for every signature, whichever program made it: whether the signature value and all digests are\n"
    "valid, and what was changed first if not; who signed, when, and who vouches for the key; and what the\n"
    "signature covers and what not.\n\n"
    "Nobody is trusted unless --trust or --system-trust says so. A certificate has to be valid today, or at\n"
    "the time that --at names: \"signed\" is the time that the signature claims, which nothing confirms,\n"
    "\"stamped\" that of a time stamp of a trusted authority. Revocation is not checked, and the network is\n"
    "not used. With --public-key, all signatures have to be made by that key, and certificates do not count.\n"
    "With --signer, each signature but countersignatures has to be by one of the signers named: by the subject\n"
    "of a trusted certificate as 'opcraft signatures' shows it, or by the SHA-256 fingerprint of the key or of\n"
    "the certificate.\n\n"
    "The exit code is 0 only when there is a signature, every one is valid and is vouched for by a trusted\n"
    "certificate or the public key (or --allow-untrusted is given), and each one by itself covers the\n"
    "content; a countersignature covers every other signature instead. Content is all but the core and\n"
    "extended properties and the thumbnail of the package, when nothing else leads to them, what ties the\n"
    "signatures to it, folders and [trash]/; docs/signatures.md has the exact rule. --coverage all leaves\n"
    "out neither properties nor thumbnail, --coverage any does not ask what is covered. What external\n"
    "targets hold is never signed.\n\n"
    "The exit code is 1 when one of these is not so, a signature cannot be read, or there is none; it is 2 when\n"
    "the file cannot be processed or has only signatures of another kind, of the whole file. With several\n"
    "FILEs it is the highest. With --system-trust anybody with a certificate from anywhere may have signed:\n"
    "the last line says who it was.\n\n"
    "Examples:\n  opcraft verify letter.docx --trust ca.pem\n  opcraft verify letter.docx --public-key alice.pub "
    "--explain\n  opcraft verify *.docx --trust ca.pem --at stamped --min-digest sha256\n"
    "  opcraft verify letter.docx --dump-reference 2 | sha256sum";

void addDemandOptions(CLI::App& command, VerifyOptions& options) {
    addFlag(command, "--allow-untrusted", options.allowUntrusted, "Do not ask who signed");
    command
        .add_option("--at", options.time,
                    "The time at which certificates have to be valid: a time in UTC, \"signed\" or \"stamped\"")
        ->type_name("TIME")
        ->check(notEmpty());
    command.add_option("--coverage", options.coverage, "What each signature has to cover: content, all or any")
        ->type_name("SCOPE")
        ->capture_default_str()
        ->transform(oneOf(COVERAGES));
    command
        .add_option("--min-digest", options.weakestDigest,
                    "Accept no weaker digest: md5, sha1, sha224, sha256, sha384 or sha512; those of time stamps do "
                    "not count")
        ->type_name("DIGEST")
        ->transform(oneOf(DIGESTS, CLI::ignore_case));
    addFlag(command, "--strict", options.strict, "Read relationships by the letter of the standard only");
}

void addOptions(CLI::App& command, VerifyOptions& options) {
    options.consistent = true;
    options.signatures = true;
    CLI::Option* json = addReadOptions(command, options, options.files);
    addColorOption(command, options.color);
    CLI::Option* publicKey =
        command.add_option("--public-key", options.publicKey, "The public key that made the signatures, PEM or DER")
            ->type_name("FILE");
    addTrustOptions(command, options.trust, publicKey);
    addTexts(command, "--signer", options.signers, "Accept signatures of this signer")
        ->type_name("SUBJECT|FINGERPRINT")
        ->check(notEmpty())
        ->excludes(publicKey);
    addDemandOptions(command, options);
    CLI::Option* explain =
        addFlag(command, "--explain", options.explain, "Show every reference of each signature, and all names");
    CLI::Option* dumped =
        command
            .add_option("--dump-reference", options.dumped,
                        "Write the octets that this reference digests, as --explain counts them, and verify nothing")
            ->type_name("NUMBER")
            ->check(CLI::Range(1U, 1'000'000U))
            ->excludes(json)
            ->excludes(explain);
    command
        .add_option("--signature", options.signature, "The signature of the reference; needed when there are several")
        ->type_name("NAME")
        ->needs(dumped);
}

} // namespace

void addVerifyCommand(Tool& tool) {
    addCommand<VerifyOptions>(tool, {"verify", "Verify the signatures of packages", HELP, addOptions, verify,
                                     "every signature holds and is vouched for and covers the content",
                                     "one does not or there is none"});
}

} // namespace opcraft
