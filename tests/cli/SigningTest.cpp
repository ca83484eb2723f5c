// SPDX-License-Identifier: Apache-2.0
#include "cli/Signed.hpp"

#include <gmock/gmock.h>

#include <stdlib.h>

#include <algorithm>

namespace opc::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class Signing : public Signed {};

TEST_F(Signing, APackageIsSignedVerifiedBrokenAndTheReasonFound) {
    openssl(
        {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=Me", "-keyout", "me.key", "-out", "me.pem"});
    EXPECT_EQ(good({"sign", "letter.docx", "--key", pki("me.key"), "--cert", pki("me.pem")}),
              "Signed as sig1: 2 parts, 4 relationships\n");
    const std::string text = good({"verify", "letter.docx", "--trust", pki("me.pem")});
    EXPECT_EQ(text, "sig1\n"
                    "  Cryptography   holds (RSA with 2048 bits, SHA-256)\n"
                    "  Vouched for by a trusted certificate: CN=Me, issued by CN=Me\n"
                    "  Covered        2 of 2 parts, 4 of 4 relationships\n"
                    "  Not asked for  [trash]/0000.dat: not signed, not content\n"
                    "1 external target: their content is not signed\n"
                    "Every signature holds and is vouched for, and covers the content.\n");
    edit("letter.docx", "_xmlsignatures/sig1.xml", "</Signature>", "<Object Id=\"x\"/></Signature>");
    EXPECT_THAT(good({"verify", "letter.docx", "--trust", pki("me.pem")}),
                HasSubstr("  Not covered    object x of /_xmlsignatures/sig1.xml\n"));
    edit("letter.docx", "word/document.xml", "Dear", "Poor");
    const ProcessResult broken = opcraft({"verify", "letter.docx", "--trust", pki("me.pem")});
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_THAT(broken.out, AllOf(HasSubstr("  Cryptography   does not hold: /word/document.xml was changed\n"),
                                  HasSubstr("  Covered        1 of 2 parts, 4 of 4 relationships"),
                                  HasSubstr("  Not covered    /word/document.xml\n"),
                                  HasSubstr("\nNot every signature holds and is vouched for.\n")));
}

struct Verification {
    Arguments options;
    int exitCode;
    std::string out;
    const char* why;
};

TEST_F(Signing, VerifyExitsWith0OnlyWhenSomebodyWhoIsTrustedVouchesForASignatureThatHolds) {
    issue("other", "other");
    openssl({"pkey", "-in", "alice.key", "-pubout", "-outform", "DER", "-out", "alice.pub"});
    openssl({"pkey", "-in", "other.key", "-pubout", "-out", "other.pub"});
    openssl({"genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048", "-out", "long.key"});
    openssl({"pkey", "-in", "long.key", "-pubout", "-out", "long.pub"});
    openssl({"x509", "-in", "root.pem", "-outform", "DER", "-out", "root.der"});
    good({"sign", "letter.docx", "--key", pki("alice.key"), "-o", "bare.docx"});
    sign();
    const std::string alice = "CN=alice, issued by CN=root";
    const Verification cases[] = {
        {{"letter.docx", "--trust", pki("root.pem")}, 0, "a trusted certificate: " + alice + '\n', "the issuer"},
        {{"letter.docx", "--trust", pki("root.der")}, 0, "a trusted certificate", "DER"},
        {{"letter.docx", "--trust", pki("alice.pem")}, 0, "a trusted certificate", "the certificate itself"},
        {{"letter.docx", "--trust", pki("other.pem"), "--trust", pki("root.pem")}, 0, "a trusted", "one of two"},
        {{"letter.docx", "--trust", pki("root.pem"), "--explain"},
         0,
         "  Trust anchor   CN=root, serial number ",
         "who"},
        {{"letter.docx", "--trust", pki("root.pem"), "--explain"},
         0,
         "  Certificate    not covered by the signature: another one for the same key could take its place\n",
         "the key alone made the value"},
        {{"letter.docx"}, 1, "an untrusted certificate: " + alice + " (no certificate is trusted without", "nobody"},
        {{"letter.docx", "--trust", pki("other.pem")}, 1, "(unable to get local issuer certificate)", "another"},
        {{"letter.docx", "--system-trust"}, 1, "(unable to get local issuer certificate)", "not the system"},
        {{"letter.docx", "--allow-untrusted"}, 0, "Every signature holds, and covers the content.\n", "whoever it was"},
        {{"letter.docx", "--public-key", pki("alice.pub")}, 0, "the given public key\n", "the key, in DER"},
        {{"letter.docx", "--public-key", pki("other.pub")},
         1,
         "does not hold: the signature itself was changed, or",
         "another key"},
        {{"letter.docx", "--public-key", pki("other.pub"), "--allow-untrusted"}, 1, "does not hold", "another key"},
        {{"letter.docx", "--public-key", pki("long.pub")}, 1, "does not hold: ", "a longer key"},
        {{"bare.docx"}, 1, "nobody: the signature carries a bare key", "a bare key"},
        {{"bare.docx", "--trust", pki("root.pem")}, 1, "nobody: the signature carries a bare key", "a bare key"},
        {{"bare.docx", "--public-key", pki("alice.pub")}, 0, "the given public key\n", "a bare key, but it is known"},
        {{"bare.docx", "--allow-untrusted", "--coverage", "any"}, 0, "Every signature holds.\n", "a bare key"},
    };
    for (const Verification& each : cases) {
        Arguments arguments = each.options;
        arguments.insert(arguments.begin(), "verify");
        const ProcessResult result = opcraft(arguments);
        EXPECT_EQ(result.exitCode, each.exitCode) << each.why << '\n' << result.out;
        EXPECT_THAT(result.out, HasSubstr(each.out)) << each.why;
        EXPECT_EQ(result.err, "") << each.why;
    }
}

TEST_F(Signing, TheCertificatesOfTheSystemAreTrustedOnRequestOnly) {
    sign();
    const auto status = [&] { return opcraft({"verify", "letter.docx", "--system-trust", "--json"}); };
    const auto signature = [&] { return nlohmann::json::parse(status().out)["signatures"][0]; };
    EXPECT_EQ(signature()["certificateStatus"], 20) << "as openssl verify says";
    ::setenv("SSL_CERT_FILE", pki("root.pem").c_str(), 1);
    EXPECT_THAT(
        good({"verify", "letter.docx", "--system-trust"}),
        HasSubstr("\nEvery signature holds and is vouched for, and covers the content. Signed by CN=alice, issued "
                  "by CN=root\n"));
    EXPECT_EQ(signature()["certificateStatus"], 0);
    EXPECT_EQ(signature()["trustAnchor"]["subject"], "CN=root");
    EXPECT_EQ(signature()["certificateCovered"], false);
    EXPECT_EQ(signature()["weak"], nlohmann::json({"RSA with 1024 bits"}));
    EXPECT_EQ(opcraft({"verify", "letter.docx"}).exitCode, 1);
    ::unsetenv("SSL_CERT_FILE");
}

TEST_F(Signing, AnExpiredCertificateIsNotTrustedByWhomeverItWasIssued) {
    issue("late", "root", "keyUsage=critical,digitalSignature", "20991231000000Z");
    const std::string key = pki("late.key");
    Request expired{"expired", "root", "late"};
    authority_.issue(expired);
    // The same key has a certificate that is valid, so that there is a signature to put the expired one into.
    good({"sign", "letter.docx", "--key", key, "--cert", pki("late.pem")});
    const auto base64 = [&](const std::string& name) {
        std::string text = authority_.text(name);
        text = text.substr(text.find('\n') + 1, text.find("-----END") - text.find('\n') - 1);
        text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
        return text;
    };
    edit("letter.docx", "_xmlsignatures/sig1.xml", base64("late"), base64("expired"));
    const ProcessResult result = opcraft({"verify", "letter.docx", "--trust", pki("root.pem")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.out,
                HasSubstr("an untrusted certificate: CN=expired, issued by CN=root (certificate has expired)"));
    EXPECT_EQ(opcraft({"verify", "letter.docx"}).exitCode, 1);
}

struct Selection {
    Arguments options;
    std::string out;
    std::vector<std::string> uncovered; // parts, then relationships
};

TEST_F(Signing, SignsWhatIsSelectedAndVerifyNamesTheRest) {
    const Selection cases[] = {
        {{}, "2 parts, 4 relationships", {}},
        {{"--part", "word/styles.xml", "--part", "/WORD/styles.xml"},
         "1 part, 0 relationships",
         {"/word/document.xml", "/#rId1", "/word/document.xml#rId10", "/word/document.xml#rId2",
          "/word/document.xml#rId3"}},
        {{"--relationship", "/#rId1", "--relationship", "/word/document.xml#rId3"},
         "0 parts, 2 relationships",
         {"/word/document.xml", "/word/styles.xml", "/word/document.xml#rId10", "/word/document.xml#rId2"}},
        {{"--part", "/word/document.xml", "--part", "/word/styles.xml", "--relationship-type",
          "/word/document.xml=http://link", "--relationship-type", "/=" + officeTypes + "/officeDocument"},
         "2 parts, 2 relationships",
         {"/word/document.xml#rId10", "/word/document.xml#rId2"}},
    };
    const std::string before = read("letter.docx");
    for (const Selection& each : cases) {
        write("letter.docx", before);
        Arguments arguments = byAlice({"sign", "letter.docx"});
        arguments.insert(arguments.end(), each.options.begin(), each.options.end());
        EXPECT_EQ(good(arguments), "Signed as sig1: " + each.out + '\n');
        const nlohmann::json json = report({"verify", "letter.docx", "--trust", pki("root.pem"), "--coverage", "any"});
        const bool isComplete = each.uncovered.empty();
        EXPECT_EQ(json["signatures"][0]["coverage"]["complete"], isComplete);
        EXPECT_EQ(opcraft({"verify", "letter.docx", "--trust", pki("root.pem")}).exitCode, isComplete ? 0 : 1);
        std::vector<std::string> uncovered = json["signatures"][0]["coverage"]["uncoveredParts"];
        for (const auto& relationship : json["signatures"][0]["coverage"]["uncoveredRelationships"])
            uncovered.push_back(relationship["source"].get<std::string>() + '#' +
                                relationship["id"].get<std::string>());
        EXPECT_EQ(uncovered, each.uncovered) << each.out;
    }
}

struct RefusedSigning {
    Arguments options;
    int exitCode;
    std::string error; // all of it, or what it ends with after "…"
};

TEST_F(Signing, RefusesWhatCannotBeSignedWithOneLineBeforeAnythingIsWritten) {
    issue("server", "root", "keyUsage=critical,digitalSignature\nextendedKeyUsage=serverAuth");
    Request expired{"expired", "root", "alice"};
    authority_.issue(expired);
    issue("other", "other");
    openssl({"pkey", "-in", "alice.key", "-aes128", "-passout", "pass:x", "-out", "secret.key"});
    openssl({"genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:1536", "-out", "odd.key"});
    openssl({"genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", "ec.key"});
    openssl(
        {"pkcs12", "-export", "-inkey", "alice.key", "-in", "alice.pem", "-passout", "pass:right", "-out", "a.p12"});
    openssl({"pkcs12", "-export", "-nokeys", "-in", "alice.pem", "-passout", "pass:", "-out", "nokey.p12"});
    write("password", "wrong\n");
    const std::string key = pki("alice.key"), cert = pki("alice.pem"), root = pki("root.pem");
    const std::string bundle = pki("a.p12");
    const std::string notGood = ": the certificate is not good for signing: ";
    const RefusedSigning cases[] = {
        {{}, 64, "letter.docx: --key or --p12 is required"},
        {{"--key", key, "--p12", bundle}, 64, "--key excludes --p12; 'opcraft sign --help' explains"},
        {{"--p12", bundle, "--cert", cert}, 64, "letter.docx: --cert needs --key"},
        {{"--key", key, "--chain", cert}, 64, "letter.docx: --chain needs --cert"},
        {{"--key", key, "--password-env", "X"}, 64, "letter.docx: a password is for --p12 only"},
        {{"--key", key, "--trust", root},
         64,
         "letter.docx: --trust and --system-trust need a certificate: --cert or --p12"},
        {{"--p12", bundle, "--password-file", "x", "--password-env", "X"},
         64,
         "--password-file excludes --password-env; 'opcraft sign --help' explains"},
        {{"--key", key, "--digest", "sha1"},
         64,
         "--digest: sha1 not in {sha224,sha256,sha384,sha512}; 'opcraft sign --help' explains"},
        {{"--key", "-", "--cert", "-"}, 64, "-: only one of the files can be the standard input"},
        {{"--key", key, "--relationship", "rId1"}, 64, "letter.docx: \"rId1\": this is no SOURCE#ID"},
        {{"--key", key, "--relationship-type", "/="}, 64, "letter.docx: \"/=\": this is no SOURCE=TYPE"},
        {{"--key", key, "--part", "/"}, 64, "letter.docx: \"/\": this names the package, not a part"},
        {{"--key", key, "--cert", cert, "-o", key},
         64,
         "letter.docx: \"" + key + "\": this would overwrite what the signature is made with"},
        {{"--key", "none"}, 2, "none: cannot be opened: No such file or directory"},
        {{"--key", cert}, 2, cert + ": The PEM file holds no RSA private key."},
        {{"--key", pki("ec.key")}, 2, pki("ec.key") + ": The bytes are not an RSA private key in DER."},
        {{"--key", pki("odd.key")}, 2, "…1536"},
        {{"--key", pki("secret.key")},
         2,
         pki("secret.key") + ": the private key is encrypted, which is not supported; 'openssl pkey -in " +
             pki("secret.key") + " -out plain.pem' makes one that is not, and --p12 takes one with a password"},
        {{"--key", key, "--cert", key}, 2, key + ": The PEM text holds no certificate."},
        {{"--key", key, "--cert", pki("other.pem")},
         2,
         pki("other.pem") + ": this is not the certificate of the private key"},
        {{"--key", key, "--cert", pki("expired.pem")}, 2, pki("expired.pem") + notGood + "certificate has expired"},
        {{"--key", pki("server.key"), "--cert", pki("server.pem")}, 2, "…" + notGood},
        {{"--key", key, "--cert", cert, "--trust", pki("other.pem")},
         2,
         cert + notGood + "unable to get local issuer certificate"},
        {{"--key", key, "--cert", cert, "--trust", "none"}, 2, "none: cannot be opened: No such file or directory"},
        {{"--p12", bundle}, 2, bundle + ": The password of the PKCS#12 file is wrong, or the file was changed."},
        {{"--p12", bundle, "--password-file", "password"},
         2,
         bundle + ": The password of the PKCS#12 file is wrong, or the file was changed."},
        {{"--p12", bundle, "--password-env", "OPCRAFT_NONE"},
         2,
         "OPCRAFT_NONE: there is no environment variable of this name"},
        {{"--p12", pki("nokey.p12")}, 2, pki("nokey.p12") + ": there is no private key in it"},
        {{"--key", key, "--part", "/none.xml"},
         2,
         "letter.docx: /none.xml: no such part; 'opcraft list' shows the parts of a package"},
        {{"--key", key, "--relationship", "/#rId9"},
         2,
         "letter.docx: /: no relationship \"rId9\"; 'opcraft rels' shows the relationships of a source"},
        {{"--key", key, "--relationship-type", "/word/document.xml=http://none"},
         2,
         "letter.docx: /word/document.xml: no relationship has the type \"http://none\""},
    };
    const std::string before = read("letter.docx");
    const auto names = folder_.names();
    for (const RefusedSigning& each : cases) {
        Arguments arguments = {"sign", "letter.docx"};
        arguments.insert(arguments.end(), each.options.begin(), each.options.end());
        const ProcessResult result = opcraft(arguments);
        EXPECT_EQ(result.exitCode, each.exitCode) << result.err;
        EXPECT_EQ(result.out, "");
        if (each.error.rfind("…", 0) == 0)
            EXPECT_THAT(result.err, AllOf(HasSubstr(each.error.substr(std::string("…").size())),
                                          MatchesRegex("opcraft: [^\n]*\n")));
        else
            EXPECT_EQ(result.err, "opcraft: " + each.error + '\n');
    }
    EXPECT_EQ(read("letter.docx"), before);
    EXPECT_EQ(folder_.names(), names);
}

TEST_F(Signing, TakesKeysOfEverySizeAndFormAndPasswordsFromWhereverTheyAre) {
    openssl({"genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:4096", "-out", "long.key"});
    openssl({"pkey", "-in", "alice.key", "-outform", "DER", "-out", "alice.der"});
    openssl({"rsa", "-in", "alice.key", "-traditional", "-out", "alice.rsa"});
    openssl({"x509", "-in", "alice.pem", "-outform", "DER", "-out", "alice.crt"});
    openssl({"pkcs12", "-export", "-inkey", "alice.key", "-in", "alice.pem", "-certfile", "root.pem", "-passout",
             "pass:päss word", "-out", "a.p12"});
    write("password", "päss word\r\nsecond line\n");
    ::setenv("OPCRAFT_TEST_PASSWORD", "päss word", 1);
    const std::string p12 = pki("a.p12");
    const std::pair<Arguments, unsigned> cases[] = {
        {{"--key", pki("long.key"), "--digest", "sha512"}, 4096},
        {{"--key", pki("alice.rsa"), "--digest", "SHA384"}, 1024},
        {{"--key", pki("alice.der"), "--cert", pki("alice.crt"), "--trust", pki("root.pem")}, 1024},
        {{"--key", pki("alice.key"), "--cert", pki("alice.pem"), "--chain", pki("root.pem")}, 1024},
        {{"--p12", p12, "--password-file", "password", "--trust", pki("root.pem")}, 1024},
        {{"--p12", p12, "--password-file", "-"}, 1024},
        {{"--p12", p12, "--password-env", "OPCRAFT_TEST_PASSWORD"}, 1024},
    };
    for (const auto& [options, bits] : cases) {
        Arguments arguments = {"sign", "letter.docx", "-o", "out.docx"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        EXPECT_EQ(good(arguments, "päss word"), "Signed as sig1: 2 parts, 4 relationships\n");
        EXPECT_EQ(report({"verify", "out.docx", "--allow-untrusted"})["signatures"][0]["keySize"], bits);
    }
    ::unsetenv("OPCRAFT_TEST_PASSWORD");
}

TEST_F(Signing, GoesThroughStreamsUnmixedWithMessages) {
    const std::string before = read("letter.docx");
    Arguments arguments = byAlice({"sign", "-", "-o", "-"});
    const ProcessResult piped = opcraft(arguments, {before});
    EXPECT_EQ(piped.exitCode, 0);
    EXPECT_EQ(piped.err, "opcraft: Signed as sig1: 2 parts, 4 relationships\n");
    EXPECT_THAT(opcraft({"verify", "-", "--allow-untrusted"}, {piped.out}).out,
                HasSubstr("\nEvery signature holds, and covers the content.\n"));
    EXPECT_EQ(opcraft(byAlice({"sign", "-"}), {before}).exitCode, 64);
}

TEST_F(Signing, VerifyAsksEachSignatureByItselfForTheContentAndNamesTheRest) {
    using Change = std::function<void(std::vector<RawItem>&)>;
    const auto lead = [](const std::string& type, const std::string& part, const std::string& contentType) -> Change {
        return [=](std::vector<RawItem>& items) {
            const auto insert = [&](RawItem& item, const std::string& end, const std::string& text) {
                item.content.insert(item.content.find(end), text);
            };
            insert(items[0], "</Types>", "<Override PartName=\"/" + part + "\" ContentType=\"" + contentType + "\"/>");
            insert(items[1], "</Rel", "<Relationship Id=\"a\" Type=\"" + type + "\" Target=\"" + part + "\"/>");
            items.push_back({part, "<evil/>"});
        };
    };
    const Change thumbnail = lead(packageTypes + "/metadata/thumbnail", "thumb.png", "image/png");
    const struct {
        std::string before; ///< a target of the document, which is signed
        Change after;
        std::string coverage;
        int exitCode;
        std::string out;
    } rows[] = {
        {"", lead(officeTypes + "/officeDocument", "word/evil.xml", wordType), "content", 1,
         "  Not covered    /word/evil.xml\n                 relationship a of the package\n"},
        {"", thumbnail, "content", 0,
         "  Not asked for  /thumb.png: not signed, not content\n"
         "                 relationship a of the package: not signed, not content\n"},
        {"", thumbnail, "all", 1, "\nNot every signature covers everything.\n"},
        {"../thumb.png", thumbnail, "content", 1, "\nNot every signature covers the content.\n"},
        {"../thumb.png", thumbnail, "any", 0, "\nEvery signature holds and is vouched for.\n"},
        {"",
         [](auto& items) {
             items.push_back({"evil.bin", "x"});
         },
         "content", 1, "evil.bin, which is no part\n"},
    };
    const std::string whole = read("letter.docx");
    for (const auto& row : rows) {
        write("letter.docx", whole);
        if (!row.before.empty())
            edit("letter.docx", "word/_rels/document.xml.rels", "styles.xml\"/><R", row.before + "\"/><R");
        const std::string warning = "opcraft: letter.docx: warning: these lead to no part: relationship rId10 of "
                                    "/word/document.xml (" +
                                    row.before + ")\n";
        EXPECT_EQ(opcraft(byAlice({"sign", "letter.docx"})).err, row.before.empty() ? "" : warning);
        rezip("letter.docx", row.after);
        const ProcessResult result =
            opcraft({"verify", "letter.docx", "--trust", pki("root.pem"), "--coverage", row.coverage});
        EXPECT_EQ(result.exitCode, row.exitCode) << result.out;
        EXPECT_THAT(result.out, HasSubstr(row.out));
    }
    EXPECT_EQ(opcraft(byAlice({"sign", "letter.docx"})).err,
              "opcraft: letter.docx: warning: these items are no parts and so cannot be signed: evil.bin\n");
}

TEST_F(Signing, RefusesAFileThatCanBeReadInTwoWays) {
    sign();
    std::string ambiguous = read("letter.docx");
    ambiguous[ambiguous.find("word/styles.xml")] = 'W'; // in the local header alone
    write("letter.docx", ambiguous);
    for (const Arguments& arguments : {Arguments{"verify", "letter.docx", "--allow-untrusted"},
                                       byAlice({"sign", "letter.docx"}), byAlice({"countersign", "letter.docx"})}) {
        const ProcessResult result = opcraft(arguments);
        EXPECT_EQ(result.exitCode, 2) << arguments[0] << result.out;
        EXPECT_EQ(result.out, "");
    }
    EXPECT_EQ(read("letter.docx"), ambiguous);
}

} // namespace
} // namespace opc::test
