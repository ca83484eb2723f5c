// SPDX-License-Identifier: Apache-2.0
#include "cli/Signed.hpp"

#include <gmock/gmock.h>

namespace opc::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr unsigned utf8Name = 0x800;

class SignaturesOf : public Signed {
protected:
    std::vector<std::string> names(const std::string& file = "letter.docx") const {
        std::vector<std::string> result;
        const json signatures = report({"signatures", file})["signatures"];
        for (const json& each : signatures)
            result.push_back(each["name"]);
        return result;
    }

    /// The verdict on every signature, whoever made it.
    std::string verdicts() const {
        const ProcessResult result = opcraft({"verify", "letter.docx", "--allow-untrusted", "--json"});
        std::string text;
        const json report = json::parse(result.out);
        for (const json& each : report["signatures"])
            text += each["name"].get<std::string>() + (each["holds"].get<bool>() ? "+ " : "- ");
        return text;
    }

    /// A package that another program signed, as far as its relationships and content types tell.
    void signAsOthersDo(const std::string& file) const {
        const std::string type = "application/vnd.openxmlformats-package.digital-signature-";
        const std::string relationship = packageTypes + "/digital-signature/";
        good({"add", file, "/_xmlsignatures/origin.sigs", "--type", type + "origin", "--rel-type",
              relationship + "origin"});
        for (const std::string name : {"/_xmlsignatures/sig1.xml", "/_xmlsignatures/sig2.xml"}) {
            opcraft({"add", file, name, "--type", type + "xmlsignature+xml", "--from", "-"}, {"<Signature/>"});
            opcraft({"relate", file, "/_xmlsignatures/origin.sigs", "--type", relationship + "signature", "--target",
                     name});
        }
        opcraft({"add", file, "/_xmlsignatures/alice.cer", "--type", type + "certificate"});
        opcraft({"relate", file, "/_xmlsignatures/sig1.xml", "--type", relationship + "certificate", "--target",
                 "/_xmlsignatures/alice.cer"});
    }
};

TEST_F(SignaturesOf, APackageAreListedWithoutBeingVerified) {
    sign();
    good({"sign", "letter.docx", "--key", pki("alice.key"), "--part", "/word/styles.xml"});
    good(byAlice({"countersign", "letter.docx"}));
    edit("letter.docx", "word/document.xml", "Dear", "Poor");

    const json report = this->report({"signatures", "letter.docx"});
    EXPECT_EQ(report["verified"], false);
    ASSERT_EQ(report["signatures"].size(), 3U);
    const json& first = report["signatures"][0];
    EXPECT_EQ(first["name"], "sig1");
    EXPECT_EQ(first["part"], "/_xmlsignatures/sig1.xml");
    EXPECT_EQ(first["digest"], "SHA-256");
    EXPECT_EQ(first["keySize"], 1024);
    EXPECT_EQ(first["certificate"]["subject"], "CN=alice");
    EXPECT_EQ(first["certificate"]["issuer"], "CN=root");
    EXPECT_EQ(first["certificate"]["notAfter"], "2099-12-31T00:00:00Z");
    EXPECT_EQ(first["parts"], 2);
    EXPECT_EQ(first["relationships"], 4);
    EXPECT_EQ(report["signatures"][1]["certificate"], nullptr);
    EXPECT_EQ(report["signatures"][1]["keyFingerprint"], first["keyFingerprint"]) << "it is the same key";
    EXPECT_EQ(report["signatures"][2]["countersignature"], true);

    openssl({"pkey", "-in", "alice.key", "-pubout", "-outform", "DER", "-out", "alice.pub"});
    openssl({"dgst", "-sha256", "-r", "-out", "digest", "alice.pub"});
    const auto digest = readFile(pki("digest"));
    EXPECT_EQ(first["keyFingerprint"], std::string(digest.begin(), digest.begin() + 64));

    EXPECT_THAT(good({"signatures", "letter.docx"}),
                AllOf(HasSubstr("sigcountersig (the countersignature)\n"), HasSubstr("  Signer         CN=alice\n"),
                      HasSubstr("  Signer         a bare key\n"),
                      HasSubstr("  Names          1 part, 0 relationships\n"),
                      HasSubstr("Nothing of this was verified; 'opcraft verify' does that.\n")));
    EXPECT_THAT(good({"signatures", "letter.docx", "--dump"}),
                AllOf(HasSubstr("Pretty Print of Digital Signature data"), HasSubstr("/word/styles.xml?ContentType=")));
    writeZip("letter.docx", letter());
    EXPECT_EQ(good({"signatures", "letter.docx"}), "No signatures.\n");
}

TEST_F(SignaturesOf, APackageAreReportedWithEveryReference) {
    sign();
    good({"sign", "letter.docx", "--key", pki("alice.key"), "--part", "/word/styles.xml"});
    edit("letter.docx", "word/_rels/document.xml.rels", "https://example.org/", "https://example.com/");
    const json report = reportWith(1, {"verify", "letter.docx", "--trust", pki("root.pem")});
    EXPECT_EQ(report["verdict"], "invalid");
    const json& first = report["signatures"][0];
    EXPECT_EQ(first["holds"], false);
    EXPECT_EQ(first["valueHolds"], true);
    EXPECT_EQ(first["problem"], "the relationships of /word/document.xml were changed");
    EXPECT_EQ(first["vouchedForBy"], "trustedCertificate");
    EXPECT_EQ(first["coverage"]["parts"], 2);
    EXPECT_EQ(first["coverage"]["uncoveredRelationships"].size(), 3U);
    ASSERT_EQ(first["references"].size(), 5U);
    EXPECT_EQ(first["references"][0]["kind"], "object");
    const json* changed = nullptr;
    for (const json& each : first["references"])
        if (each["verdict"] != "holds")
            changed = &each;
    ASSERT_NE(changed, nullptr);
    EXPECT_EQ((*changed)["kind"], "relationships");
    EXPECT_EQ((*changed)["target"], "/word/document.xml");
    EXPECT_EQ((*changed)["verdict"], "digestDiffers");
    EXPECT_NE((*changed)["digest"], (*changed)["signedDigest"]);
    EXPECT_EQ((*changed)["selectors"].size(), 3U);
    EXPECT_EQ((*changed)["relationships"], json({"rId10", "rId2", "rId3"}));
    EXPECT_EQ(report["signatures"][1]["holds"], true);
    EXPECT_EQ(report["signatures"][1]["vouchedForBy"], "nobody");
    EXPECT_EQ(report["coverage"]["exceptedItems"], json({"[trash]/0000.dat"}));
    EXPECT_EQ(report["coverage"]["parts"], 1) << "that both cover";

    const std::string text = opcraft({"verify", "letter.docx", "--explain"}).out;
    EXPECT_THAT(text, AllOf(HasSubstr("  Part /word/document.xml: holds\n"),
                            HasSubstr("  Relationships of /word/document.xml: the relationships of /word/document.xml "
                                      "were changed\n"),
                            HasSubstr("    Selects        ID rId10\n")));
}

TEST_F(SignaturesOf, APackageMayBeCountersignedOnceAndAnotherSignatureBreaksThat) {
    const ProcessResult tooEarly = opcraft(byAlice({"countersign", "letter.docx"}));
    EXPECT_EQ(tooEarly.exitCode, 2);
    EXPECT_THAT(tooEarly.err, HasSubstr("no signatures present"));
    sign();
    EXPECT_EQ(good(byAlice({"countersign", "letter.docx"})), "Countersigned as sigcountersig: 1 signature\n");
    EXPECT_EQ(verdicts(), "sig1+ sigcountersig+ ");
    EXPECT_THAT(good({"verify", "letter.docx", "--trust", pki("root.pem")}),
                HasSubstr("  Covered        1 of 1 other signature, and no content\n"));
    EXPECT_EQ(report({"verify", "letter.docx", "--allow-untrusted"})["signatures"][1]["signatures"], json({"sig1"}));
    const ProcessResult twice = opcraft(byAlice({"countersign", "letter.docx"}));
    EXPECT_EQ(twice.exitCode, 2);
    EXPECT_THAT(twice.err, HasSubstr("already been countersigned"));

    const ProcessResult added = opcraft(byAlice({"sign", "letter.docx"}));
    EXPECT_EQ(added.out, "Signed as sig2: 2 parts, 4 relationships\n");
    EXPECT_THAT(added.err, HasSubstr("letter.docx: warning: the countersignature does not hold any longer"));
    EXPECT_EQ(verdicts(), "sig1+ sig2+ sigcountersig- ");
    EXPECT_EQ(good({"unsign", "letter.docx", "sig2"}), "Removed sig2\n") << "it was not countersigned";
    EXPECT_EQ(verdicts(), "sig1+ sigcountersig+ ");
}

struct Removal {
    Arguments arguments;
    int exitCode;
    std::string text; // on the standard output, or the error
    std::vector<std::string> left;
};

TEST_F(SignaturesOf, APackageAreRemovedOneByOneOrAllTogether) {
    sign();
    sign();
    good(byAlice({"countersign", "letter.docx"}));
    const std::string before = read("letter.docx");
    const std::vector<std::string> all = {"sig1", "sig2", "sigcountersig"};
    const Removal cases[] = {
        {{}, 64, "opcraft: letter.docx: NAME, --countersignature or --all is required\n", all},
        {{"sig1", "--all"}, 64, "opcraft: NAME excludes --all; 'opcraft unsign --help' explains\n", all},
        {{"sig3"},
         2,
         "opcraft: letter.docx: no signature \"sig3\"; 'opcraft signatures' shows those of a package\n",
         all},
        {{"sig2", "/_xmlsignatures/sig1.xml"},
         2,
         "opcraft: letter.docx: no signature \"/_xmlsignatures/sig1.xml\"; "
         "'opcraft signatures' shows those of a package\n",
         all},
        {{"sig1"},
         2,
         "opcraft: letter.docx: sig1 is countersigned; --countersignature removes the countersignature "
         "too\n",
         all},
        {{"--countersignature"}, 0, "Removed sigcountersig\n", {"sig1", "sig2"}},
        {{"sigcountersig"}, 0, "Removed sigcountersig\n", {"sig1", "sig2"}},
        {{"sig2", "sig2", "--countersignature"}, 0, "Removed sig2\nRemoved sigcountersig\n", {"sig1"}},
        {{"sigcountersig", "sig1"}, 0, "Removed sigcountersig\nRemoved sig1\n", {"sig2"}},
        {{"sig1", "sig2", "--countersignature"}, 0, "Removed sig1\nRemoved sig2\nRemoved sigcountersig\n", {}},
        {{"--all"},
         0,
         "Removed /_xmlsignatures/sig1.xml\nRemoved /_xmlsignatures/sig2.xml\n"
         "Removed /_xmlsignatures/sigcountersig.xml\n",
         {}},
    };
    for (const Removal& each : cases) {
        write("letter.docx", before);
        Arguments arguments = {"unsign", "letter.docx"};
        arguments.insert(arguments.end(), each.arguments.begin(), each.arguments.end());
        const ProcessResult result = opcraft(arguments);
        EXPECT_EQ(result.exitCode, each.exitCode) << result.err;
        EXPECT_EQ(result.out + result.err, each.text);
        EXPECT_EQ(names(), each.left) << each.text;
        EXPECT_EQ(each.exitCode == 0, read("letter.docx") != before) << each.text;
        if (each.left.empty())
            EXPECT_THAT(good({"info", "letter.docx"}), HasSubstr("Signatures     none\n"));
        else
            EXPECT_THAT(verdicts(), Not(HasSubstr("- "))) << each.text;
    }
    const ProcessResult none = opcraft({"unsign", "letter.docx", "--countersignature"});
    EXPECT_EQ(none.err, "opcraft: letter.docx: the package is not countersigned\n");
    EXPECT_EQ(good({"unsign", "letter.docx", "--all"}), "No signatures.\n");
}

TEST_F(SignaturesOf, OthersAreCountedNotCheckedNotMixedWithOursAndRemovedOnRequest) {
    signAsOthersDo("letter.docx");
    const std::string line = "2 signatures in the standard's form, not checked\n";
    EXPECT_THAT(good({"info", "letter.docx"}), HasSubstr("               " + line));
    EXPECT_EQ(report({"info", "letter.docx"})["signatures"]["standard"],
              json({"/_xmlsignatures/sig1.xml", "/_xmlsignatures/sig2.xml"}));
    EXPECT_EQ(good({"signatures", "letter.docx"}),
              line + "Nothing of this was verified; 'opcraft verify' does that.\n");
    const ProcessResult verified = opcraft({"verify", "letter.docx", "--allow-untrusted"});
    EXPECT_EQ(verified.exitCode, 2);
    EXPECT_EQ(verified.out, line + "Not every signature was checked.\n");
    EXPECT_EQ(reportWith(2, {"verify", "letter.docx"})["verdict"], "unchecked");

    const std::string before = read("letter.docx");
    for (const char* command : {"sign", "countersign"}) {
        const ProcessResult result = opcraft(byAlice({command, "letter.docx"}));
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.err, "opcraft: letter.docx: 2 signatures in the standard's form, not checked; such a package "
                              "is not signed ('opcraft unsign --all' removes them)\n");
        EXPECT_EQ(read("letter.docx"), before);
    }
    EXPECT_EQ(good({"unsign", "letter.docx", "--all"}),
              "Removed /_xmlsignatures/sig1.xml\nRemoved /_xmlsignatures/sig2.xml\n");
    for (const std::string& name : RawZipReader(readFile(folder_ / "letter.docx")).names())
        EXPECT_THAT(name, Not(HasSubstr("_xmlsignatures")));
    EXPECT_EQ(report({"rels", "letter.docx"})["relationships"].size(), 1U);
    sign();
}

TEST_F(SignaturesOf, BothKindsInOnePackageAreNeverWhollyChecked) {
    sign();
    rezip("letter.docx", [](std::vector<RawItem>& items) { items.push_back({".signature.p7s", "signed", 0}); });
    const ProcessResult fine = opcraft({"verify", "letter.docx", "--trust", pki("root.pem")});
    EXPECT_EQ(fine.exitCode, 2);
    EXPECT_THAT(fine.out, AllOf(HasSubstr("Cryptography   holds"), HasSubstr("1 PKCS#7 signature of the file, not")));
    EXPECT_EQ(opcraft({"verify", "letter.docx"}).exitCode, 1) << "what was checked comes first";
}

TEST_F(SignaturesOf, NothingThatIsNoSignatureGoesWithThem) {
    signAsOthersDo("letter.docx");
    good({"unsign", "letter.docx", "--all"});
    const std::string type = packageTypes + "/digitalsignature/";
    good({"relate", "letter.docx", "/", "--type", type + "origin", "--target", "/word/document.xml"});
    good({"relate", "letter.docx", "/word/document.xml", "--type", type + "signature", "--target", "/word/styles.xml"});
    good({"unsign", "letter.docx", "--all"});
    EXPECT_EQ(report({"list", "letter.docx"})["parts"].size(), 2U);
    EXPECT_EQ(report({"rels", "letter.docx", "--all"})["relationships"].size(), 4U);
}

TEST_F(SignaturesOf, APackageMakeNoPartsOfItemsThatWereNoneNorDoOtherChanges) {
    write("image.png", std::string("\x89PNG\r\n\x1A\n\0\0\0\rIHDR...", 19));
    const std::vector<RawItem> others = {
        {"Metadata/cut.xml", "<cut/>"}, {"plate.PNG", "png"}, {"a.sigs", "a"}, {"a\\b.tmp", "b"}};
    std::vector<RawItem> items = {contentTypes({"model=a/model", "tmp=a/tmp"}),
                                  relationships("_rels/.rels", {{"rId1", "http://model", "3D/box.model"}}),
                                  {"3D/box.model", "<model/>"}};
    items.insert(items.end(), others.begin(), others.end());
    const std::pair<Arguments, unsigned> cases[] = {
        {byAlice({"sign", "box.3mf"}), 3},
        {{"add", "box.3mf", "/n.xml", "--type", "application/xml", "--rel-type", "http://n"}, 2},
        {{"props", "box.3mf", "--set", "title=Box"}, 2},
        {{"thumbnail", "box.3mf", "--set", "image.png"}, 2},
    };
    for (const auto& [arguments, parts] : cases) {
        writeZip("box.3mf", items);
        EXPECT_EQ(opcraft(arguments).exitCode, 0) << arguments[0];
        EXPECT_EQ(report({"list", "box.3mf"})["parts"].size(), parts) << arguments[0];
        EXPECT_EQ(report({"list", "box.3mf"})["otherItems"].size(), others.size()) << arguments[0];
        EXPECT_THAT(good({"cat", "box.3mf", "[Content_Types].xml"}), HasSubstr("a/tmp")) << "others may go by it";
        good({"unsign", "box.3mf", "--all"});
        for (const RawItem& item : others)
            EXPECT_EQ(good({"cat", "box.3mf", item.name}), item.content);
    }
}

TEST_F(SignaturesOf, APackageAreTakenForThatByTheirOriginAlone) {
    sign();
    const std::string type = "application/vnd.openxmlformats-package.digital-signature";
    for (const auto& [name, suffix] : {std::pair{"/cut.xml", "xmlsignature+xml"}, std::pair{"/a.sigs", "-origin"}})
        EXPECT_EQ(opcraft({"add", "letter.docx", name, "--type", type + suffix}).exitCode, 0) << name;
    const std::string why = ", which no signature origin of the package leads to; 'opcraft rm' removes it\n";
    const std::string kept = "Kept /a.sigs" + why + "Kept /cut.xml" + why;
    EXPECT_EQ(good({"unsign", "letter.docx", "--all"}), "Removed /_xmlsignatures/sig1.xml\n" + kept);
    const std::string before = read("letter.docx");
    EXPECT_EQ(good({"unsign", "letter.docx", "--all"}), "No signatures.\n" + kept);
    EXPECT_EQ(read("letter.docx"), before);

    // A relationship that makes an origin of the document does not make one signature's removal its end.
    EXPECT_EQ(opcraft({"relate", "letter.docx", "/", "--type", packageTypes + "/digitalsignature/origin", "--target",
                       "/word/document.xml", "--id", "origin"})
                  .exitCode,
              0);
    sign();
    good({"unsign", "letter.docx", "sig1"});
    EXPECT_EQ(good({"cat", "letter.docx", "/word/document.xml"}), "<document>Dear reader</document>");
}

/// What makes the package refuse to load its signatures.
TEST_F(SignaturesOf, ChangedBeyondReadingAreAFindingAndStillGo) {
    sign();
    const std::string whole = read("letter.docx");
    const std::pair<json, std::function<void()>> changes[] = {
        {"/word/styles.xml?ContentType=application/xml",
         [&] {
             opcraft({"rm", "letter.docx", "/word/styles.xml", "--force"});
         }},
        {{}, [&] { edit("letter.docx", "_xmlsignatures/sig1.xml", "<SignatureValue>", "<Signature_Value>"); }},
        {"/_rels/.rels?ContentType=application/vnd.openxmlformats-package.relationships+xml",
         [&] {
             opcraft({"unrelate", "letter.docx", "/", "rId1"});
         }},
    };
    for (const auto& [value, change] : changes) {
        write("letter.docx", whole);
        change();
        const ProcessResult verified = opcraft({"verify", "letter.docx", "--allow-untrusted"});
        EXPECT_EQ(verified.exitCode, 1);
        EXPECT_EQ(verified.err, "");
        EXPECT_THAT(verified.out, AllOf(HasSubstr("a signature cannot be read: /_xmlsignatures/sig1.xml"),
                                        HasSubstr("The package was changed after it was signed, or its signatures are "
                                                  "malformed.\n")));
        const json report = reportWith(1, {"verify", "letter.docx"});
        EXPECT_EQ(report["verdict"], "unreadable");
        EXPECT_THAT(report["problem"].get<std::string>(), HasSubstr("cannot be read"));
        EXPECT_EQ(report["unreadable"]["part"], "/_xmlsignatures/sig1.xml");
        EXPECT_EQ(report["unreadable"]["value"], value);
        for (const Arguments& arguments :
             {Arguments{"signatures", "letter.docx"}, Arguments{"unsign", "letter.docx", "sig1"},
              byAlice({"sign", "letter.docx"})}) {
            const ProcessResult result = opcraft(arguments);
            EXPECT_EQ(result.exitCode, 2);
            EXPECT_THAT(result.err,
                        testing::MatchesRegex("opcraft: letter.docx: a signature cannot be read: [^\n]*\n"));
        }
        good({"list", "letter.docx"});
        EXPECT_EQ(good({"unsign", "letter.docx", "--all"}), "Removed /_xmlsignatures/sig1.xml\n");
        EXPECT_EQ(opcraft({"verify", "letter.docx"}).out, "No signatures.\n");
        EXPECT_EQ(opcraft({"verify", "letter.docx"}).exitCode, 1);
    }
}

TEST_F(SignaturesOf, APackageThatAChangeBreaksAreNamed) {
    good(byAlice({"sign", "letter.docx", "--part", "/word/document.xml", "--relationship", "/word/document.xml#rId3"}));
    good(byAlice({"sign", "letter.docx", "--part", "/word/styles.xml"}));
    const std::string whole = read("letter.docx");
    const std::string warning = "opcraft: letter.docx: warning: after this change these signatures do not hold: ";
    const std::pair<Arguments, std::string> cases[] = {
        {{"add", "letter.docx", "/note.xml", "--type", "application/xml"}, ""},
        {{"relate", "letter.docx", "/", "--type", "http://t", "--target", "/word/styles.xml", "--id", "x"}, ""},
        {{"props", "letter.docx", "--set", "title=A letter"}, ""},
        {{"unrelate", "letter.docx", "/word/document.xml", "rId2"}, ""},
        {{"unrelate", "letter.docx", "/word/document.xml", "rId3"}, warning + "sig1, sig2\n"}, // nothing can be read
        {{"rm", "letter.docx", "/_xmlsignatures/sig2.xml", "--force"}, warning + "sig2\n"},
        {{"rm", "letter.docx", "/word/styles.xml", "--force"}, warning + "sig1, sig2\n"},
    };
    for (auto [arguments, error] : cases) {
        write("letter.docx", whole);
        EXPECT_EQ(opcraft(arguments).err, error) << testing::PrintToString(arguments);
        write("letter.docx", whole);
        arguments.insert(arguments.end(), {"-o", "-"});
        EXPECT_THAT(opcraft(arguments).err, HasSubstr(error)) << testing::PrintToString(arguments);
        arguments.back() = "out.docx";
        EXPECT_EQ(opcraft(arguments).err, error) << testing::PrintToString(arguments);
    }
    writeZip("all.docx", letter());
    opcraft(byAlice({"sign", "all.docx"}));
    EXPECT_EQ(opcraft({"props", "all.docx", "--set", "title=A letter"}).err, "") << "they are not content";
    EXPECT_EQ(opcraft({"add", "all.docx", "/note.xml", "--type", "application/xml"}).err,
              "opcraft: all.docx: warning: after this change these signatures do not cover the content: sig1\n");
    opcraft({"rm", "letter.docx", "/word/styles.xml", "--force"});
    EXPECT_EQ(opcraft({"add", "letter.docx", "/note.xml", "--type", "application/xml"}).err,
              "opcraft: letter.docx: warning: the package was signed, and its signatures may not hold any longer\n")
        << "they could not be read before";
}

TEST_F(SignaturesOf, NothingInAPackageSteersTheTerminal) {
    rezip("letter.docx", [](std::vector<RawItem>& items) {
        items.push_back({"[trash]/\xE2\x80\xAE", "", 0, utf8Name});
    });
    Request request{"mallory", "root"};
    request.subject = "/CN=\xE2\x80\xAE"
                      "evil";
    request.bits = "1024";
    request.until = "20991231000000Z";
    authority_.issue(request);
    good({"sign", "letter.docx", "--key", pki("mallory.key"), "--cert", pki("mallory.pem")});
    for (const Arguments& arguments :
         {Arguments{"verify", "letter.docx", "--explain"}, Arguments{"signatures", "letter.docx"},
          Arguments{"signatures", "letter.docx", "--dump"}, Arguments{"verify", "letter.docx", "--json"}}) {
        const std::string text = opcraft(arguments).out;
        EXPECT_THAT(text, AllOf(Not(HasSubstr("\x1B")), Not(HasSubstr("\xE2\x80\xAE")))) << arguments[0];
    }
    EXPECT_THAT(opcraft({"verify", "letter.docx"}).out, HasSubstr("[trash]/\\u202E: not signed"));
}

} // namespace
} // namespace opc::test
