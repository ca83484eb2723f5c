// SPDX-License-Identifier: Apache-2.0
#include "signatures/SignatureMutator.hpp"
#include "signatures/StoredSignature.hpp"
#include "support/Process.hpp"

#include <algorithm>
#include <cctype>
#include <map>
#include <random>

namespace opc::model::test {

namespace {

/// A canonical text without comments and instructions, and without the white space around tags.
std::string bare(std::string text) {
    for (const auto& [start, end] : {std::pair<std::string, std::string>{"<!--", "-->"}, {"<?", "?>"}, {"&#xD", ";"}})
        for (std::size_t found = text.find(start); found != std::string::npos; found = text.find(start))
            text.erase(found, text.find(end, found) + end.size() - found);
    text.erase(std::remove_if(text.begin(), text.end(), [](unsigned char unit) { return std::isspace(unit) != 0; }),
               text.end());
    return text;
}

/// How many of the elements that start in a canonical text do not end in it.
std::ptrdiff_t openElementsOf(const std::string& text) {
    std::ptrdiff_t open = 0;
    for (std::size_t found = text.find('<'); found != std::string::npos; found = text.find('<', found + 1))
        open += text[found + 1] == '/' ? -1 : 1;
    return open;
}

/// What a signature means, as another implementation of canonical XML writes it. Left out, since no signature covers
/// them, are
/// - the declaration of XML, and comments, instructions and white space between the children of `Signature`,
/// - how `SignatureValue` is written, and its attributes: it is the value,
/// - `KeyInfo`: it says whose key is to be tried; the key that verifies is the one that signed,
/// - objects beside the one of the package.
/// All else, the `Id` of the signature too (its properties name it), has to be there, letter by letter.
class Meaning {
public:
    explicit Meaning(const std::string& part) {
        const std::string canonical = canonicalize(part);
        root_ = bare(canonical.substr(0, canonical.find("<SignedInfo")));
        signedInfo_ = elementOf(canonical, "SignedInfo");
        value_ = bare(elementOf(canonical, "SignatureValue"));
        object_ = elementOf(canonical, "Object");
    }

    bool isThatOf(const std::string& part) const {
        const std::string canonical = canonicalize(part);
        const std::size_t info = canonical.find(signedInfo_);
        const std::size_t object = canonical.find(object_);
        if (info == std::string::npos || object == std::string::npos || object < info)
            return false;
        const std::size_t behindInfo = info + signedInfo_.size();
        const std::string between = bare(canonical.substr(behindInfo, object - behindInfo));
        const std::string value = between.substr(0, between.find("</SignatureValue>"));
        return bare(canonical.substr(0, info)) == root_ && openElementsOf(between) == 0 &&
               value.compare(0, 15, "<SignatureValue") == 0 &&
               "<SignatureValue" + value.substr(value.find('>')) + "</SignatureValue>" == value_ &&
               openElementsOf(bare(canonical.substr(object + object_.size()))) == -1;
    }

private:
    static std::string canonicalize(const std::string& part) {
        opc::test::ProcessOptions options;
        options.input = part;
        const auto result = opc::test::runProcess(OPCRAFT_XMLLINT, {"--nonet", "--c14n", "-"}, options);
        if (result.exitCode != 0)
            throw std::runtime_error(result.err);
        return result.out;
    }

    std::string root_;
    std::string signedInfo_;
    std::string value_;
    std::string object_;
};

using SignatureMutations = StoredSignature;

TEST_F(SignatureMutations, NeverMakeAnotherSignatureValid) {
    constexpr int mutants = 5000;
    const Bytes publicKey = publicKeyOf(fixedKey());
    const Meaning meaning(good_);
    std::minstd_rand random(20260304);
    std::map<std::string, int> verdicts;
    // One manager reads them all: what it compiles of the schemas serves every time.
    Bytes zip;
    storage::ZipPackage physical(zip);
    Package package(physical);
    const DigitalSignatureManager manager(package);
    const auto judge = [&](const std::string& part) -> std::string {
        items_[PART] = part;
        zip = items_.toZip(0);
        try {
            package.open(OpenMode::ReadOnly);
            const bool byKey = manager.verifySignature(manager.getSignatures().front(), publicKey).isSignatureValid();
            const bool byItself = manager.verifyAllSignatures(noOptions(), TrustStore()).isSignatureValid();
            EXPECT_TRUE(byKey || !byItself) << "another key verifies " << part;
            return byItself ? "valid" : byKey ? "valid by the signer's key" : "invalid";
        } catch (const InvalidSignature&) {
            return "refused";
        } catch (const std::exception& e) {
            ADD_FAILURE() << e.what() << " leaves the library for " << part;
            return "failed";
        }
    };
    for (int i = 0; i < mutants; ++i) {
        const std::string part = SignatureMutator(good_, random).mutate();
        const std::string verdict = judge(part);
        if (package.isOpen())
            package.close(true);
        ++verdicts[verdict];
        EXPECT_TRUE(verdict.compare(0, 5, "valid") != 0 || meaning.isThatOf(part)) << verdict << ": " << part;
    }
    // All paths were taken, and often.
    for (const auto& [verdict, least] : std::map<std::string, int>{{"valid", 400}, {"invalid", 400}, {"refused", 2000}})
        EXPECT_GE(verdicts[verdict], least) << verdict;
}

} // namespace

} // namespace opc::model::test
