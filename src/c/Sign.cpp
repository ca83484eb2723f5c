// SPDX-License-Identifier: Apache-2.0
#include "c/Keys.hpp"
#include "c/Options.hpp"
#include "c/Package.hpp"
#include "c/Results.hpp"

#include <opc/core/interfaces/IPhysicalOtherItems.hpp>
#include <opc/crypto/Signer.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>
#include <opc/signatures/SignatureRemoval.hpp>
#include <opc/signatures/SigningWarnings.hpp>

#include <algorithm>
#include <array>
#include <string>

namespace opc::c {

namespace {

using certificates::PKCS12Certificate;
using certificates::X509Certificate;
using certificates::X509CertificateChain;
using interfaces::OpenMode;
using model::DigitalSignature;
using model::DigitalSignatureManager;
using model::PartName;
using model::SignatureForm;
using model::SigningGaps;
using model::SigningOptions;
using model::SigningRequest;

/// Signs by a function of the caller's.
class CallbackSigner final : public crypto::Signer {
public:
    explicit CallbackSigner(const opcraft_signer* given)
        : callbacks_(read(given, "signer")),
          publicKey_(readBytes(callbacks_.public_key, callbacks_.public_key_length, "signer.public_key",
                               crypto::PublicKey::fromPEMOrDER)) {
        if (callbacks_.sign == nullptr)
            throwInvalidArgument("signer.sign is NULL");
    }

    crypto::PublicKey getPublicKey() const override { return publicKey_; }
    bool supports(crypto::DigestAlgorithm) const override { return true; }

    std::vector<unsigned char> sign(crypto::DigestAlgorithm digest, const std::vector<unsigned char>& octets) override {
        std::vector<unsigned char> signature(CAPACITY);
        std::size_t length = 0;
        throwIfFailed(callbacks_.sign(callbacks_.data, toDigest(digest), octets.data(), octets.size(), signature.data(),
                                      signature.size(), &length),
                      "the signer failed");
        if (length > signature.size())
            throw model::CouldNotGenerateSignature("the signer tells a length of " + std::to_string(length) +
                                                   " bytes, more than its capacity");
        signature.resize(length);
        return signature;
    }

private:
    static constexpr std::size_t CAPACITY = 8192;

    static opcraft_digest toDigest(crypto::DigestAlgorithm digest) {
        constexpr std::array digests = {OPCRAFT_DIGEST_MD5,    OPCRAFT_DIGEST_SHA1,   OPCRAFT_DIGEST_SHA224,
                                        OPCRAFT_DIGEST_SHA256, OPCRAFT_DIGEST_SHA384, OPCRAFT_DIGEST_SHA512};
        return digests.at(static_cast<std::size_t>(digest));
    }

    opcraft_signer callbacks_;
    crypto::PublicKey publicKey_;
};

/// A rule on options that need or exclude each other.
struct UsageRule {
    bool isBroken;
    const char* reason;
};

void checkUsage(const opcraft_sign_options& given) {
    const int keys = (given.signer != nullptr) + (given.key != nullptr) + (given.pkcs12 != nullptr);
    const bool isWeak = given.digest == OPCRAFT_DIGEST_MD5 || given.digest == OPCRAFT_DIGEST_SHA1;
    const UsageRule rules[] = {
        {keys != 1, "one of signer, key and pkcs12 is required"},
        {given.pkcs12 != nullptr && given.certificate != nullptr, "pkcs12 excludes certificate"},
        {given.chain != nullptr && given.certificate == nullptr, "chain needs certificate"},
        {given.comments != nullptr && given.form != OPCRAFT_FORM_OFFICE, "comments need OPCRAFT_FORM_OFFICE"},
        {given.countersign && given.part_count != 0, "countersign excludes parts"},
        {isWeak, "MD5 and SHA-1 are not for new signatures"},
    };
    for (const UsageRule& rule : rules)
        if (rule.isBroken)
            throwInvalidArgument(rule.reason);
}

SignatureForm toForm(opcraft_signature_form form) {
    switch (form) {
    case OPCRAFT_FORM_STANDARD:
        return SignatureForm::Standard;
    case OPCRAFT_FORM_OFFICE:
        return SignatureForm::Office;
    case OPCRAFT_FORM_LIBRARY:
        return SignatureForm::Library;
    }
    throwInvalidArgument("form is no opcraft_signature_form");
}

/// A key and its certificate, ready to sign.
class Signing {
public:
    explicit Signing(const opcraft_sign_options& given) : form_(toForm(given.form)) {
        checkUsage(given);
        options_.digestMethod = toDigestMethod(given.digest, "digest").value_or(options_.digestMethod);
        options_.validation.setCheckChain(false); // whether others trust the issuer is theirs to tell
        if (given.comments != nullptr)
            options_.comments = toText(given.comments, "comments");
        if (given.pkcs12 != nullptr)
            readBundle(given);
        else
            readKey(given);
    }

    SignatureForm getForm() const noexcept { return form_; }

    DigitalSignature sign(DigitalSignatureManager& manager, const SigningRequest& request) {
        return manager.sign(request, *signer_, options_);
    }
    DigitalSignature countersign(DigitalSignatureManager& manager) {
        return manager.countersignAllSignatures(*signer_, options_);
    }
    std::vector<std::string> findWarnings() const {
        return findSigningWarnings(signer_->getPublicKey(), form_, options_);
    }

private:
    void readKey(const opcraft_sign_options& given) {
        if (given.signer != nullptr)
            signer_ = std::make_unique<CallbackSigner>(given.signer);
        else
            signer_ = readBytes(given.key, given.key_length, "key", [&](const std::vector<unsigned char>& bytes) {
                return makeSigner(bytes, given.password);
            });
        if (given.certificate != nullptr)
            options_.certificate =
                readBytes(given.certificate, given.certificate_length, "certificate", X509Certificate::fromPEMOrDER);
        if (given.chain != nullptr)
            options_.chain = readBytes(given.chain, given.chain_length, "chain", X509CertificateChain::fromPEMOrDER);
    }
    void readBundle(const opcraft_sign_options& given) {
        const PKCS12Certificate bundle =
            readBytes(given.pkcs12, given.pkcs12_length, "pkcs12", [&](const std::vector<unsigned char>& bytes) {
                return PKCS12Certificate(bytes, given.password != nullptr ? given.password : "");
            });
        if (!bundle.hasPrivateKey() || !bundle.hasCertificate())
            throwInvalidArgument(bundle.hasPrivateKey() ? "pkcs12: no certificate of the private key"
                                                        : "pkcs12: no private key");
        signer_ = reading("pkcs12", [&] { return makeSigner(bundle.getPrivateKey().get(), nullptr); });
        options_.certificate = bundle.getCertificate();
        options_.chain = bundle.getCertificateChain();
    }
    static std::unique_ptr<crypto::Signer> makeSigner(const std::vector<unsigned char>& key, const char* password) {
        crypto::KeySigner::PassPhrase passPhrase;
        if (password != nullptr)
            passPhrase = [password] {
                return toSecret(password, std::char_traits<char>::length(password), "password");
            };
        return std::make_unique<crypto::KeySigner>(crypto::KeySigner::fromPEMOrDER(key, passPhrase));
    }

    SignatureForm form_;
    SigningOptions options_;
    std::unique_ptr<crypto::Signer> signer_;
};

/// A package that is open for a change of its signatures.
struct SignedPackage {
    SignedPackage(opcraft_store& store, SignatureForm form, bool consistent)
        : use(store, OpenMode::ReadWrite, consistent), model(*use, use.getLimits()),
          manager(model, model::getAllSignatureForms(), form) {
        model.open(OpenMode::ReadWrite);
    }

    StoreUse use;
    model::Package model;
    DigitalSignatureManager manager;
};

SigningRequest makeRequest(const SignedPackage& package, const opcraft_sign_options& given) {
    if (given.part_count == 0)
        return package.manager.getAllPartsAndRels();
    std::set<PartName> names;
    for (std::size_t i = 0; i < given.part_count; ++i)
        names.insert(package.model.getPart(toPartName(elementOf(given.parts, i, "parts"))).getName());
    return {{names.begin(), names.end()}, {}};
}

std::vector<std::string> describe(const SigningGaps& gaps) {
    std::vector<std::string> texts;
    const auto utf8 = [](const std::u16string& text) { return detail::toUTF8String(text, false); };
    for (const model::Relationship& each : gaps.danglingRelationships)
        texts.push_back("relationship " + utf8(each.getID()) + " of " + utf8(each.getSourceURI().toString()) +
                        " leads to no part: " + utf8(each.getTarget()));
    for (const std::string& item : gaps.otherItems)
        texts.push_back(item + " is not a part and so cannot be signed");
    return texts;
}

SigningGaps findGaps(const SignedPackage& package) {
    const auto* const items = dynamic_cast<const interfaces::IPhysicalOtherItems*>(&*package.use);
    return package.manager.findSigningGaps(items != nullptr ? items->getOtherItems() : std::vector<std::string>());
}

DigitalSignature signContent(SignedPackage& package, Signing& signing, const opcraft_sign_options& given,
                             std::vector<std::string>& warnings) {
    const SigningRequest request = makeRequest(package, given);
    for (std::string& text : describe(findGaps(package)))
        warnings.push_back(std::move(text));
    if (signing.getForm() == SignatureForm::Library && package.manager.isPackageCountersigned())
        warnings.emplace_back("the countersignature does not hold any longer, for it covers that there are no other "
                              "signatures");
    return signing.sign(package.manager, request);
}

std::unique_ptr<Result<opcraft_sign_result>> sign(opcraft_store& store, const opcraft_sign_options& given) {
    Signing signing(given);
    SignedPackage package(store, signing.getForm(), true);
    std::vector<std::string> warnings = signing.findWarnings();
    const DigitalSignature signature =
        given.countersign ? signing.countersign(package.manager) : signContent(package, signing, given, warnings);
    auto result = makeResult<opcraft_sign_result>();
    result->name = result->pool.keep(signature.getName());
    result->parts = signature.getSignedPartNames().size();
    result->relationships = signature.getSignedRelationships().size();
    result->warnings = result->pool.texts(warnings, result->warning_count);
    package.model.close();
    return result;
}

/// Does not read the signatures, so that invalid ones are removed, too.
std::uint64_t removeAll(opcraft_store& store) {
    const StoreUse use(store, OpenMode::ReadWrite);
    model::Package package(*use, use.getLimits());
    package.open(OpenMode::ReadWrite);
    const std::uint64_t count = removeSignatures(package).removed.size();
    package.close();
    return count;
}

std::uint64_t removeOne(opcraft_store& store, const std::u16string& name) {
    SignedPackage package(store, SignatureForm::Standard, false);
    const PartName part = package.manager.getSignature(name).getPartName();
    if (findCountersigned(package.manager, {part}))
        throw model::CouldNotRemoveSignature(detail::toUTF8String(name, false) +
                                             " is countersigned; the countersignature has to be removed before");
    const std::uint64_t count = removeSignatures(package.model, {part}).removed.size();
    package.model.close();
    return count;
}

} // namespace

} // namespace opc::c

using namespace opc::c;

opcraft_sign_result* opcraft_sign(opcraft_store* store, const opcraft_sign_options* options, opcraft_error** error) {
    return guarded(
        error, static_cast<opcraft_sign_result*>(nullptr),
        [&]() -> opcraft_sign_result* {
            const opcraft_sign_options given = read(&required(options, "options"), "options");
            opcraft_store& to = required(store, "store");
            return byStore(
                       &to, [&] { return sign(to, given); })
                .release();
        });
}

void opcraft_sign_result_free(opcraft_sign_result* result) {
    freeResult(result);
}

bool opcraft_unsign(opcraft_store* store, const char* name, uint64_t* removed, opcraft_error** error) {
    return guardedChange(
        error,
        [&] {
            opcraft_store& from = required(store, "store");
            const std::uint64_t count = byStore(
                &from, [&] { return name != nullptr ? removeOne(from, toText(name, "name")) : removeAll(from); });
            if (removed != nullptr)
                *removed = count;
        });
}
