// SPDX-License-Identifier: Apache-2.0
// The tasks of TASKS.md in C++.
#include <opc/opcraft.hpp>

#include <algorithm>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using namespace opc::model;
using opc::convertStringToTime;
using opc::convertTimeToString;
using opc::createPackage;
using opc::editPackage;
using opc::readPackage;
using opc::toUTF8;

constexpr const char* DOCUMENT = "/word/document.xml";
constexpr const char* OFFICE_DOCUMENT =
    "http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument";

/// Items with ", " between them.
template <class Range, class Text>
std::string list(const Range& range, Text text) {
    std::string all;
    for (const auto& each : range)
        all.append(all.empty() ? "" : ", ").append(text(each));
    return all;
}

std::vector<unsigned char> readFile(const char* name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string countParts(const Package& letter) {
    return std::to_string(letter.parts().size());
}

std::string nameAndType(const Part& part) {
    return part.getName().toUTF8() + ' ' + part.getContentType().toUTF8();
}

std::string listParts(const Package& letter) {
    return list(letter.parts(), nameAndType);
}

std::string readAText(const Package& letter) {
    const std::string text = readText(letter.getPart("/docProps/app.xml"));
    const std::string lines = text.substr(0, text.find_last_not_of('\n') + 1);
    return std::to_string(text.size()) + ", " + lines.substr(lines.rfind('\n') + 1);
}

std::string stream() {
    createPackage("large.zip", [](Package& package) {
        std::vector<unsigned char> bytes(10'000'000);
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<unsigned char>(i % 251);
        writeBytes(package.createPart("/large.bin", "application/octet-stream"), bytes);
    });
    auto digest = opc::crypto::CryptoEngine::createDigestEngine(opc::crypto::DigestAlgorithm::SHA256);
    readPackage("large.zip", [&digest](const Package& package) {
        readBlocks(package.getPart("/large.bin"),
                   [&digest](const unsigned char* data, std::size_t size) { digest.update(data, size); });
    });
    std::string text;
    for (const unsigned char byte : digest.finish()) {
        text += "0123456789abcdef"[byte / 16];
        text += "0123456789abcdef"[byte % 16];
    }
    return text;
}

std::string create() {
    createPackage(
        "new.zip",
        [](Package& package) {
            const Part part = package.createPart("/hello.txt", "text/plain");
            writeText(part, "Hello, world!");
            package.createInternalRelationship("http://example.org/hello", part);
        });
    return readPackage("new.zip", [](const Package& package) {
        return list(package.getRelationshipsByType("http://example.org/hello"), [&](const Relationship& relationship) {
            const Part target = package.findTarget(relationship).value();
            return toUTF8(relationship.getID()) + ", " + target.getName().toUTF8() + ", " + readText(target);
        });
    });
}

std::string add() {
    editPackage(
        "letter.docx", "added.docx",
        [](Package& letter) {
            const Part item = letter.createPart("/customXml/item1.xml", "application/xml");
            writeText(item, "<item/>");
            letter.getPart(DOCUMENT).createInternalRelationship("http://example.org/item", item);
        });
    return readPackage("added.docx", [](const Package& added) {
        const auto relationships = added.getPart(DOCUMENT).getRelationshipsByType("http://example.org/item");
        return list(relationships,
                    [](const Relationship& r) { return toUTF8(r.getID()) + ", " + toUTF8(r.getTarget()); }) +
               ", " + countParts(added);
    });
}

std::string change() {
    editPackage(
        "added.docx",
        [](Package& added) { writeText(added.getPart("/customXml/item1.xml"), "<item>Gr\u00fc\u00dfe</item>"); });
    return readPackage("added.docx",
                       [](const Package& added) { return readText(added.getPart("/customXml/item1.xml")); });
}

std::string deleteAPart() {
    editPackage(
        "letter.docx", "deleted.docx",
        [](Package& letter) {
            letter.deletePart("/word/media/bar.png");
            letter.getPart(DOCUMENT).deleteRelationship("rId2");
        });
    return readPackage("deleted.docx", [](const Package& deleted) {
        return countParts(deleted) + ", " + std::to_string(deleted.getPart(DOCUMENT).relationships().size());
    });
}

std::string findMainDocument(const Package& letter) {
    return list(
        letter.getRelationshipsByType(OFFICE_DOCUMENT),
        [&](const Relationship& relationship) { return nameAndType(letter.findTarget(relationship).value()); });
}

std::string describe(const CoreProperties& properties) {
    return toUTF8(*properties.getTitle() + u", " + *properties.getCreator() + u", " +
                  convertTimeToString(*properties.getCreated()) + u", " +
                  convertTimeToString(*properties.getModified()));
}

std::string readProperties(const Package& letter) {
    return describe(PackageHelper::getCoreProperties(letter));
}

std::string setProperties() {
    editPackage(
        "letter.docx", "titled.docx",
        [](Package& letter) {
            CoreProperties properties = PackageHelper::getCoreProperties(letter);
            properties.setTitle("Gr\u00fc\u00dfe");
            properties.setModified(convertStringToTime("2026-02-03T04:05:06Z"));
            properties.addKeyword("note", "en");
            PackageHelper::createOrUpdateCoreProperties(letter, properties);
        });
    return readPackage("titled.docx", [](const Package& titled) {
        const CoreProperties properties = PackageHelper::getCoreProperties(titled);
        const auto keywords = properties.getKeywords().value();
        return describe(properties) + ", " + list(keywords, [](const CoreProperties::Keyword& keyword) {
                   return toUTF8(keyword.first + u", " + keyword.second);
               });
    });
}

std::string examine(const char* file) {
    opc::storage::ZipPackage store(file);
    return list(opc::lint::examine(store), [](const opc::Finding& finding) { return opc::getRule(finding.rule).name; });
}

std::string lint() {
    editPackage("letter.docx", "broken.docx", [](Package& letter) {
        Part document = letter.getPart(DOCUMENT);
        document.createInternalRelationship("http://example.org/broken", "/word/Media/bar.png");
        document.createInternalRelationship("http://example.org/broken", "/word/gone.xml");
    });
    return examine("broken.docx");
}

std::string repair() {
    opc::storage::ZipPackage store("broken.docx");
    auto steps = opc::lint::applyRepair(store).steps;
    steps.erase(std::remove_if(
                    steps.begin(), steps.end(), [](const auto& step) { return !step.applies; }),
                steps.end());
    return list(steps, [](const auto& step) { return opc::getRule(step.finding.rule).name; }) +
           ", left: " + examine("broken.docx");
}

std::string diff() {
    return readPackage(
        "letter.docx",
        [](const Package& letter) {
            return readPackage(
                "added.docx",
                [&](const Package& added) {
                    const auto report = opc::compare::compare({&letter}, {&added});
                    const auto kind = [](opc::compare::DifferenceKind value) {
                        constexpr const char* names[] = {"added ", "removed ", "renamed ", "changed "};
                        return std::string(names[static_cast<int>(value)]);
                    };
                    return list(
                               report.parts,
                               [&](const auto& part) {
                                   return kind(part.kind) + (part.after ? part.after : part.before)->name;
                               }) +
                           ", " +
                           list(
                               report.relationships,
                               [&](const auto& relationship) {
                                   return kind(relationship.kind) + relationship.source + ' ' + relationship.target;
                               });
                });
        });
}

/// Validity, signer and coverage of each signature.
std::string verify(const char* file, const JudgementOptions& options) {
    return list(
        opc::verifyPackage(file, options).signatures,
        [&](const SignatureJudgement& signature) {
            return std::string(signature.isFine(options) ? "valid, " : "invalid, ") +
                   signature.summary.certificate.getSubject() +
                   (signature.coverage.isComplete ? ", complete" : ", incomplete");
        });
}

std::string sign() {
    SigningOptions options;
    options.certificate = opc::certificates::X509Certificate::fromPEMOrDER(readFile("cert.pem"));
    options.trust.addCertificate(options.certificate);
    auto signer = opc::crypto::KeySigner::fromPEMOrDER(readFile("key.pem"));
    editPackage("letter.docx", "signed.docx", [&](Package&, DigitalSignatureManager& signatures) {
        signatures.sign(signatures.getAllPartsAndRels(), signer, options);
    });
    JudgementOptions judging;
    judging.verification.trust = options.trust;
    const std::string verdict = verify("signed.docx", judging);
    editPackage("signed.docx", [](Package& package) { writeText(package.getPart("/word/styles.xml"), "<forged/>"); });
    const std::string forged = verify("signed.docx", judging);
    return verdict + ", " + forged.substr(0, forged.find(','));
}

std::function<std::string()> ofLetter(std::string (*task)(const Package&)) {
    return [task] { return readPackage("letter.docx", task); };
}

} // namespace

int main() {
    const std::pair<const char*, std::function<std::string()>> tasks[] = {
        {"count-parts", ofLetter(countParts)},
        {"list-parts", ofLetter(listParts)},
        {"read-text", ofLetter(readAText)},
        {"stream", stream},
        {"create", create},
        {"add", add},
        {"change", change},
        {"delete", deleteAPart},
        {"main-document", ofLetter(findMainDocument)},
        {"read-properties", ofLetter(readProperties)},
        {"set-properties", setProperties},
        {"lint", lint},
        {"repair", repair},
        {"diff", diff},
        {"sign", sign},
    };
    for (const auto& [name, task] : tasks)
        std::cout << name << ": " << task() << std::endl;
}
