// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Keys.hpp"

#include "opcraft/FileInput.hpp"
#include "opcraft/Names.hpp"
#include "opcraft/Text.hpp"

#include <opc/certificates/PKCS12Certificate.hpp>
#include <opc/signatures/SignatureSummary.hpp>
#include <opc/signatures/SigningWarnings.hpp>

#include <fcntl.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <system_error>
#include <utility>

namespace opcraft {

namespace {

using opc::certificates::PKCS12Certificate;
using opc::certificates::X509Certificate;
using opc::certificates::X509CertificateChain;
using opc::crypto::KeySigner;
using opc::crypto::SecretBytes;
using opc::model::DigestMethod;
using opc::model::SignatureForm;

/// The digests for new signatures: not MD5 and SHA-1, which can be forged.
const std::map<std::string, DigestMethod> DIGESTS = {
    {"sha224", DigestMethod::SHA224},
    {"sha256", DigestMethod::SHA256},
    {"sha384", DigestMethod::SHA384},
    {"sha512", DigestMethod::SHA512},
};

const std::map<std::string, SignatureForm> FORMS = {
    {"standard", SignatureForm::Standard},
    {"office", SignatureForm::Office},
    {"library", SignatureForm::Library},
};

/// A password. Its memory is wiped at the end.
class Password {
public:
    Password() = default;
    ~Password();

    Password(const Password&) = delete;
    Password& operator=(const Password&) = delete;

    /// Takes the first line of a file.
    /// @throws Failure naming the file when it cannot be read.
    void readFile(const std::string& file);
    /// Takes the value of an environment variable.
    /// @throws Failure naming the variable when it does not exist.
    void readEnvironment(const std::string& variable);
    /// Asks on the terminal, which does not show it.
    /// @param what starts the question: "Password of".
    /// @param file that it is for.
    /// @return false when there is no terminal.
    /// @throws Failure when the user gives none.
    bool ask(const std::string& what, const std::string& file);

    SecretBytes toBytes() const { return SecretBytes(std::vector<unsigned char>(text_.begin(), text_.end())); }
    const std::string& get() const noexcept { return text_; }

private:
    std::string text_;
};

Password::~Password() {
    ::explicit_bzero(text_.data(), text_.size());
}

void Password::readFile(const std::string& file) {
    const opc::crypto::SecretBytes secret = readSecret(file);
    const std::vector<unsigned char>& bytes = secret.get();
    auto end = std::find(bytes.begin(), bytes.end(), '\n');
    if (end != bytes.begin() && *(end - 1) == '\r')
        --end;
    text_.resize(static_cast<std::size_t>(end - bytes.begin()));
    std::copy(bytes.begin(), end, text_.begin());
}

void Password::readEnvironment(const std::string& variable) {
    const char* value = std::getenv(variable.c_str());
    if (value == nullptr)
        throw Failure(ExitCode::NotProcessed, variable, "", "no environment variable of this name");
    text_ = value;
}

/// The terminal of the process, which does not show what is typed. The destructor restores it.
class SilentTerminal {
public:
    SilentTerminal() : descriptor_(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        if (!isOpen() || ::tcgetattr(descriptor_, &before_) != 0)
            return;
        termios silent = before_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG); // Ctrl-C would leave the terminal silent
        silent.c_cc[VEOL] = before_.c_cc[VINTR];               // so it ends the line instead
        silent.c_cc[VEOL2] = before_.c_cc[VQUIT];
        isSilent_ = ::tcsetattr(descriptor_, TCSAFLUSH, &silent) == 0;
    }
    ~SilentTerminal() {
        if (isSilent_)
            ::tcsetattr(descriptor_, TCSAFLUSH, &before_);
        if (isOpen())
            ::close(descriptor_);
    }
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;

    bool isOpen() const noexcept { return descriptor_ >= 0; }
    void write(const std::string& text) const {
        static_cast<void>(::write(descriptor_, text.data(), text.size()) == 0); // a prompt that is not seen
    }
    /// @return false at the end of a line, or when the user does not want to go on.
    bool read(char& letter) {
        if (::read(descriptor_, &letter, 1) != 1 || letter == '\n')
            return false;
        const auto typed = static_cast<cc_t>(letter);
        isInterrupted_ = isSilent_ && (typed == before_.c_cc[VINTR] || typed == before_.c_cc[VQUIT]);
        return !isInterrupted_;
    }
    bool isInterrupted() const noexcept { return isInterrupted_; }

private:
    int descriptor_;
    termios before_{};
    bool isSilent_ = false;
    bool isInterrupted_ = false;
};

bool Password::ask(const std::string& what, const std::string& file) {
    SilentTerminal terminal;
    if (!terminal.isOpen())
        return false;
    terminal.write(escaped(what + ' ' + file) + ": ");
    constexpr std::size_t longest = 1024;
    text_.reserve(longest); // text that grows would leave copies in memory
    for (char letter = 0; text_.size() < longest && terminal.read(letter);)
        text_ += letter;
    terminal.write("\n");
    if (terminal.isInterrupted())
        throw Failure(ExitCode::NotProcessed, file, "", "no password was given");
    return true;
}

/// @return whether the options give a password.
bool readPassword(const SigningOptions& options, Password& password) {
    if (!options.passwordFile.empty())
        password.readFile(options.passwordFile);
    else if (!options.passwordVariable.empty())
        password.readEnvironment(options.passwordVariable);
    return !options.passwordFile.empty() || !options.passwordVariable.empty();
}

/// A rule on options that need or exclude each other.
struct Rule {
    bool isBroken;
    const char* reason;
};

/// The output may replace the package, but no key or certificate.
void throwIfOverwritten(const std::vector<std::string>& files, const SigningOptions& options) {
    std::error_code ignored; // a file that does not exist is not overwritten
    for (const std::string& file : files)
        if (file != options.file && std::filesystem::equivalent(file, options.output, ignored))
            throw wrongArgument(options.output, "this would overwrite what the signature is made with");
}

void checkUsage(const SigningOptions& options) {
    std::vector<std::string> files = options.trust.files;
    files.insert(files.end(),
                 {options.file, options.key, options.certificate, options.chain, options.bundle, options.passwordFile});
    throwIfSharedInput(files);
    throwIfOverwritten(files, options);
    const bool hasTrust = options.trust.isTrusting();
    const Rule rules[] = {
        {options.key.empty() && options.bundle.empty(), "--key or --p12 is required"},
        {!options.certificate.empty() && options.key.empty(), "--cert needs --key"},
        {!options.chain.empty() && options.certificate.empty(), "--chain needs --cert"},
        {!options.comment.empty() && options.formToWrite != SignatureForm::Office, "--comment needs --form office"},
        {hasTrust && options.certificate.empty() && options.bundle.empty(),
         "--trust and --system-trust need a certificate: --cert or --p12"},
    };
    for (const Rule& rule : rules)
        if (rule.isBroken)
            throw Failure(ExitCode::WrongUsage, "", "", rule.reason);
}

/// Calls an action, and names the file in the errors of the library.
template <class Action>
auto withFileName(const std::string& file, Action action) {
    try {
        return action();
    } catch (const opc::Exception& e) {
        throw toFailure(e, file, "");
    }
}

} // namespace

const char* const SIGNING_HELP =
    "--form standard, the default, is the form of ECMA-376 that LibreOffice and other programs check.\n"
    "--form office adds what Microsoft Office writes; it leaves core and extended properties and the\n"
    "thumbnail out, as Office does, and covers the certificate. --form library is checked by Opcraft alone.\n"
    "A package has signatures of the library's form or of the other two, not both. LibreOffice asks for a\n"
    "certificate, and does not accept a signature of a relationship with \"&\" in its target.\n\n"
    "The key is one for RSA with 1024 to 8192 bits or for an elliptic curve (P-256, P-384, P-521); --form\n"
    "library takes RSA with 1024, 2048 or 4096 bits. Keys and certificates are PEM or DER. Without a\n"
    "certificate the signature carries the bare public key: it shows that nothing was changed, not who\n"
    "signed. The password of an encrypted key or a PKCS#12 file is the first line of a file or the value of\n"
    "an environment variable; without either it is asked for on the terminal.\n\n"
    "A certificate has to be valid today and be one for signatures. Whether its issuer is trusted is\n"
    "looked at only when --trust or --system-trust says who is.";

opc::crypto::SecretBytes readSecret(const std::string& file) {
    constexpr std::size_t largest = 1024UL * 1024;
    FileInput input(file);
    // A vector that grows would leave copies in memory.
    std::vector<unsigned char> bytes(largest + 1);
    std::size_t filled = 0;
    while (const std::size_t count = input.read(bytes.data() + filled, bytes.size() - filled))
        filled += count;
    const bool isTooLarge = filled > largest;
    bytes.resize(filled);
    opc::crypto::SecretBytes secret(std::move(bytes));
    if (isTooLarge)
        throw Failure(ExitCode::NotProcessed, file, "", "this is too large for a key, a certificate or a password");
    return secret;
}

void addTrustOptions(CLI::App& command, TrustOptions& options, CLI::Option* other) {
    CLI::Option* trust = addTexts(command, "--trust", options.files, "Trust the certificates in this file, PEM or DER");
    trust->type_name("FILE");
    CLI::Option* system =
        addFlag(command, "--system-trust", options.system, "Trust the certificates that the system trusts");
    if (other != nullptr) {
        trust->excludes(other);
        system->excludes(other);
    }
}

opc::certificates::TrustStore makeTrustStore(const TrustOptions& options) {
    opc::certificates::TrustStore store;
    for (const std::string& file : options.files)
        withFileName(file, [&] { store.addCertificates(X509CertificateChain::fromPEMOrDER(readSecret(file).get())); });
    if (options.system)
        store.addSystemCertificates();
    return store;
}

opc::certificates::CertificateValidationOptions makeValidationOptions(const TrustOptions& options) {
    opc::certificates::CertificateValidationOptions validation;
    validation.setCheckChain(options.isTrusting());
    return validation;
}

void addSigningOptions(CLI::App& command, SigningOptions& options) {
    addChangeOptions(command, options);
    options.consistent = true;
    options.signatures = true;
    CLI::Option* key = command.add_option("--key", options.key, "The private key that signs")->type_name("FILE");
    command.add_option("--cert", options.certificate, "The certificate of the key")->type_name("FILE");
    command.add_option("--chain", options.chain, "Further certificates, up to one that others trust")
        ->type_name("FILE");
    command.add_option("--p12", options.bundle, "A PKCS#12 file with the private key, its certificate and its chain")
        ->type_name("FILE")
        ->excludes(key);
    CLI::Option* passwordFile =
        command.add_option("--password-file", options.passwordFile, "The file whose first line is the password")
            ->type_name("FILE");
    command.add_option("--password-env", options.passwordVariable, "The environment variable that is the password")
        ->type_name("VARIABLE")
        ->excludes(passwordFile);
    addTrustOptions(command, options.trust);
    command
        .add_option_function<std::string>(
            "--form", [&options](const std::string& form) { options.formToWrite = FORMS.at(form); },
            "standard, office or library")
        ->type_name("FORM")
        ->default_str("standard")
        ->transform(oneOf(FORMS));
    command.add_option("--comment", options.comment, "The purpose of signing, which Office shows")->type_name("TEXT");
    command.add_option("--digest", options.digest, "sha224, sha256, sha384 or sha512")
        ->type_name("DIGEST")
        ->capture_default_str()
        ->transform(oneOf(DIGESTS, CLI::ignore_case));
}

Signer::Signer(const SigningOptions& options) : form_(options.formToWrite) {
    checkUsage(options);
    options_.validation = makeValidationOptions(options.trust);
    options_.trust = makeTrustStore(options.trust);
    options_.digestMethod = DIGESTS.at(options.digest);
    options_.comments = toUtf16(options.comment);
    if (options.bundle.empty())
        readKey(options);
    else
        readBundle(options);
}

void Signer::readKey(const SigningOptions& options) {
    withFileName(options.key, [&] {
        key_ = KeySigner::fromPEMOrDER(readSecret(options.key).get(), [&options] {
            Password password;
            if (!readPassword(options, password) && !password.ask("Pass phrase of", options.key))
                throw Failure(ExitCode::NotProcessed, options.key, "",
                              "the private key is encrypted; --password-file or --password-env gives its pass phrase");
            return password.toBytes();
        });
    });
    if (options.certificate.empty())
        return;
    withFileName(options.certificate,
                 [&] { options_.certificate = X509Certificate::fromPEMOrDER(readSecret(options.certificate).get()); });
    if (!options.chain.empty())
        withFileName(options.chain,
                     [&] { options_.chain = X509CertificateChain::fromPEMOrDER(readSecret(options.chain).get()); });
    checkCertificate(options.certificate);
}

void Signer::readBundle(const SigningOptions& options) {
    const SecretBytes bytes = readSecret(options.bundle);
    Password password;
    const bool isGiven = readPassword(options, password);
    const auto read = [&] {
        try {
            return PKCS12Certificate(bytes.get(), password.get());
        } catch (const opc::Exception&) { // without one given, it was the empty password
            if (isGiven || !password.ask("Password of", options.bundle))
                throw;
        }
        return PKCS12Certificate(bytes.get(), password.get());
    };
    withFileName(options.bundle, [&] {
        const PKCS12Certificate bundle = read();
        if (!bundle.hasPrivateKey())
            throw Failure(ExitCode::NotProcessed, options.bundle, "", "it holds no private key");
        if (!bundle.hasCertificate())
            throw Failure(ExitCode::NotProcessed, options.bundle, "", "it holds no certificate of the private key");
        key_ = KeySigner::fromPEMOrDER(bundle.getPrivateKey().get());
        options_.certificate = bundle.getCertificate();
        options_.chain = bundle.getCertificateChain();
    });
    checkCertificate(options.bundle);
}

void Signer::checkCertificate(const std::string& file) const {
    withFileName(
        file,
        [&] {
            if (options_.certificate.getSubjectPublicKey() != key_->getPublicKey())
                throw Failure(ExitCode::NotProcessed, file, "", "this is not the certificate of the private key");
            const auto results = options_.certificate.validate(options_.chain, options_.validation, options_.trust);
            if (results.getCertificateChainStatus() != 0)
                throw Failure(ExitCode::NotProcessed, file, "",
                              "the certificate is not good for signing: " + results.getMessage());
        });
}

void Signer::warn(const std::string& file, Console& console) const {
    for (const std::string& warning : findSigningWarnings(key_->getPublicKey(), form_, options_))
        console.note(file + ": warning: " + warning);
    if (!countersignatures_.empty())
        console.note(file + ": warning: these countersignatures do not cover the new signature: " +
                     listText(countersignatures_));
}

/// Those of the library's form hold no longer instead.
void Signer::findCountersignatures(const opc::model::DigitalSignatureManager& manager) {
    for (const opc::model::DigitalSignature& each : manager.getSignatures())
        if (each.getForm() != opc::model::SignatureForm::Library)
            if (const auto summary = opc::model::summarize(manager, each); summary.isCountersignature)
                countersignatures_.push_back(summary.name);
}

} // namespace opcraft
