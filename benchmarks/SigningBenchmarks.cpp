// SPDX-License-Identifier: Apache-2.0
#include "Benchmarks.hpp"
#include "Comparison.hpp"
#include "HugeContent.hpp"
#include "ManyParts.hpp"
#include "Process.hpp"
#include "SigningTasks.hpp"
#include "Workspace.hpp"
#include "Zip.hpp"

#include <opc/model/StandardPartInfo.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <openssl/evp.h>
#include <openssl/rsa.h>

#include <array>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

namespace opc::benchmarks {

namespace {

namespace fs = std::filesystem;
using interfaces::OpenMode;
using model::SignatureForm;

constexpr std::uint64_t mebibyte = 1ULL << 20;
constexpr std::size_t hugeParts = 16;
constexpr std::uint64_t hugePartSize = 64 * mebibyte;
const model::SignatureParams params(model::DigestMethod::SHA256, model::SignatureMethod::RSA2048);

std::vector<unsigned char> makeKey() {
    const std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> key(EVP_RSA_gen(2048), EVP_PKEY_free);
    unsigned char* der = nullptr;
    const int size = i2d_PrivateKey(key.get(), &der);
    if (size <= 0)
        throw std::runtime_error("no key could be made");
    std::vector<unsigned char> bytes(der, der + size);
    OPENSSL_free(der);
    return bytes;
}

struct OpenPackage {
    OpenPackage(const fs::path& file, OpenMode mode, SignatureForm form = SignatureForm::Library, unsigned threads = 1)
        : zip(file, withThreads(threads)), package(zip), signatures(package, {form}, form) {
        package.open(mode);
    }

    static storage::ZipOptions withThreads(unsigned threads) {
        storage::ZipOptions options;
        options.threads = threads;
        return options;
    }

    storage::ZipPackage zip;
    model::Package package;
    model::DigitalSignatureManager signatures;
};

/// The key beside a file, so that no measured process makes one, which takes now longer and now shorter.
std::vector<unsigned char> keyBeside(const fs::path& file) {
    std::ifstream in(file.string() + ".key", std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void signOpened(OpenPackage& opened, const std::vector<unsigned char>& key) {
    opened.signatures.signPackage(key, params);
}

void verifyOpened(const OpenPackage& opened) {
    const bool isValid = opened.signatures.verifyAllSignatures({}, {}).isValid();
    if (!isValid || !opened.signatures.isPackageSigned())
        throw std::runtime_error("the signature does not hold");
}

template <unsigned threads>
void sign(const fs::path& file) {
    OpenPackage opened(file, OpenMode::ReadWrite, SignatureForm::Library, threads);
    signOpened(opened, keyBeside(file));
    opened.package.close(true);
}

template <unsigned threads>
void verify(const fs::path& file) {
    verifyOpened(OpenPackage(file, OpenMode::ReadOnly, SignatureForm::Library, threads));
}

/// Inflates and digests every item.
void digestItems(zip_t* zip) {
    const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> digest(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    std::array<unsigned char, 64 * 1024> buffer;
    const auto items = static_cast<zip_uint64_t>(zip_get_num_entries(zip, 0));
    for (zip_uint64_t index = 0; index < items; ++index) {
        const std::unique_ptr<zip_file_t, int (*)(zip_file_t*)> item(zip_fopen_index(zip, index, 0), zip_fclose);
        if (!item || EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr) != 1)
            throw std::runtime_error("an item cannot be read");
        for (zip_int64_t count = 1; count > 0;) {
            count = zip_fread(item.get(), buffer.data(), buffer.size());
            EVP_DigestUpdate(digest.get(), buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        }
        std::array<unsigned char, EVP_MAX_MD_SIZE> value;
        EVP_DigestFinal_ex(digest.get(), value.data(), nullptr);
    }
}

void digestOnce(const fs::path& file) {
    digestItems(openZip(file, ZIP_RDONLY).get());
}

void digestTwice(const fs::path& file) {
    digestOnce(file);
    digestOnce(file);
}

// ---- files

void makeHugeParts(const fs::path& file) {
    OpenPackage opened(file, OpenMode::CreateOnly);
    const HugeContent content(HugeContent::Kind::Text, hugePartSize);
    for (std::size_t number = 0; number < hugeParts; ++number) {
        const model::Part part =
            opened.package.createPart(nameOfPart(number), u"application/octet-stream", model::StandardPartInfo());
        OutputStream& stream = *part.getOutputStream();
        content.forEachPiece([&](const unsigned char* data, std::uint64_t size) { stream.write(data, size); });
        stream.close();
    }
    opened.package.close();
}

std::string hugeFile() {
    const fs::path file = workFile("parts.zip");
    if (!fs::exists(file))
        makeHugeParts(file);
    return file.string();
}

std::string manyFile() {
    return manyParts(10000).string();
}

std::string withKey(const std::string& file) {
    const std::vector<unsigned char> key = makeKey();
    std::ofstream(file + ".key", std::ios::binary)
        .write(reinterpret_cast<const char*>(key.data()), static_cast<std::streamsize>(key.size()));
    return file;
}

std::string signedFile(const std::string& unsignedFile, SignatureForm form = SignatureForm::Library) {
    const fs::path file = unsignedFile + (form == SignatureForm::Library ? ".signed" : ".signed-standard");
    if (!fs::exists(file)) {
        fs::copy_file(unsignedFile, file);
        OpenPackage opened(file, OpenMode::ReadWrite, form);
        opened.signatures.signPackage(makeKey(), params);
        opened.package.close();
    }
    return file.string();
}

struct ProcessAims {
    double signing;
    double verifying;
    double signingPeak = 96.0 * mebibyte;
    double verifyingPeak = 96.0 * mebibyte;
};

/// Whole processes, from opening on.
/// @param side "" for one thread, or "-in-two".
void compareProcesses(const std::string& what, std::string (*file)(), int pairs, const ProcessAims& aims,
                      const std::string& side = "") {
    registerComparison(
        {"open and sign " + what, "libzip and OpenSSL, twice", pairs, aims.signing, aims.signingPeak},
        [=] { return hugeTask("sign" + side, withKey(file())); }, [file] { return hugeTask("digest-twice", file()); });
    registerComparison(
        {"open and verify " + what, "libzip and OpenSSL", pairs, aims.verifying, aims.verifyingPeak},
        [=] { return hugeTask("verify" + side, signedFile(file())); },
        [file] { return hugeTask("digest", signedFile(file())); });
}

/// Measures one step of something that is prepared off the clock.
template <class Prepare, class Step>
Side step(Prepare prepare, Step run) {
    return [prepare, run] {
        auto prepared = prepare();
        return timed([&]() -> std::shared_ptr<void> {
            run(prepared);
            return nullptr;
        })();
    };
}

Side floorStep(const std::string& file, int times) {
    return step([file] { return openZip(file, ZIP_RDONLY); },
                [times](const Zip& zip) {
                    for (int i = 0; i < times; ++i)
                        digestItems(zip.get());
                });
}

/// What is left when the package is open, and its signatures are read, before.
void compareOpened(const std::string& what, std::string (*file)(), int pairs, double aim, SignatureForm form) {
    const auto opening = [form](const std::string& name, OpenMode mode) {
        return [name, mode, form] { return std::make_unique<OpenPackage>(name, mode, form); };
    };
    registerComparison(
        {"sign " + what + " of an open package", "libzip and OpenSSL, twice", pairs,
         form == SignatureForm::Library ? aim : 0}, // the others are read back
        [file, opening] {
            const std::vector<unsigned char> key = makeKey();
            return step(
                opening(file(), OpenMode::ReadWrite), [key](const auto& opened) { signOpened(*opened, key); });
        },
        [file] { return floorStep(file(), 2); });
    registerComparison(
        {"verify " + what + " of an open package", "libzip and OpenSSL", pairs, aim},
        [file, opening, form] {
            return step(opening(signedFile(file(), form), OpenMode::ReadOnly),
                        [](const auto& opened) { verifyOpened(*opened); });
        },
        [file, form] { return floorStep(signedFile(file(), form), 1); });
}

} // namespace

std::map<std::string, Task> signingTasks() {
    return {{"sign", sign<1>},        {"verify", verify<1>},
            {"sign-in-two", sign<2>}, {"verify-in-two", verify<2>},
            {"digest", digestOnce},   {"digest-twice", digestTwice}};
}

void registerSigning() {
    compareOpened("10000 parts", manyFile, 21, 2, SignatureForm::Library);
    compareOpened("10000 parts in the standard form", manyFile, 21, 2.5, SignatureForm::Standard);
    compareProcesses("10000 parts", manyFile, 11, {.signing = 2.6, .verifying = 3.5, .verifyingPeak = 48.0 * mebibyte});
    compareProcesses("1 GiB in parts", hugeFile, 5, {1.2, 1.2});
    compareProcesses("1 GiB in parts, two threads", hugeFile, 5, {0.65, 0.65}, "-in-two");
}

} // namespace opc::benchmarks
