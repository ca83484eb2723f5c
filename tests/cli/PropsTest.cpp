// SPDX-License-Identifier: Apache-2.0
#include "cli/CommandLine.hpp"
#include "support/CorePropertiesXml.hpp"

#include <gmock/gmock.h>

#include <sstream>

namespace opc::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

const std::string coreType = packageTypes + "/metadata/core-properties";
const std::string xsiType = "xsi:type='dcterms:W3CDTF'";

/// A package of another producer's making: the part has a name, a content type and a place of its own.
std::vector<RawItem> packageWith(const std::string& xml) {
    return {contentTypes({"xml=application/xml", "psmdcp=application/vnd.openxmlformats-package.core-properties+xml"}),
            relationships("_rels/.rels", {{"R7", coreType, "/meta/1.psmdcp"}, {"R8", "http://t", "a.xml"}}),
            {"meta/1.psmdcp", xml},
            {"a.xml", "<a/>"}};
}

class Props : public CommandLine {
protected:
    void writeProperties(const std::string& elements) const {
        writeZip("p.zip", packageWith(coreProperties(elements)));
    }

    json properties(const std::string& file = "p.zip") const { return report({"props", file})["properties"]; }

    /// The present properties alone.
    json present(const std::string& file = "p.zip") const {
        json found = json::object();
        const json all = properties(file);
        for (const auto& [name, value] : all.items())
            if (!value.is_null())
                found[name] = value;
        return found;
    }

    void refuses(const Arguments& arguments, int exitCode, const std::string& error) const {
        const std::string before = read("p.zip");
        const auto names = folder_.names();
        const ProcessResult result = opcraft(arguments);
        EXPECT_EQ(result.exitCode, exitCode) << testing::PrintToString(arguments);
        EXPECT_EQ(result.err, "opcraft: " + error + '\n');
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(read("p.zip"), before);
        EXPECT_EQ(folder_.names(), names);
    }
};

TEST_F(Props, AreShownInTheOrderOfTheirNamesWhenTheyArePresent) {
    writeProperties(
        "<dc:title>Dear \n \xE2\x80\xAEreader</dc:title><dc:subject/><cp:version>  1 </cp:version>"
        "<cp:keywords xml:lang='en'>letter<cp:value xml:lang='de-CH'>Brief</cp:value><cp:value>x@de</cp:value>"
        "<cp:value>me@home.org</cp:value></cp:keywords>"
        "<dcterms:created " +
        xsiType +
        ">2026-01-31T12:00:00.250+02:00</dcterms:created>"
        "<cp:lastPrinted>2026-01-31T10:00:00</cp:lastPrinted>");
    EXPECT_EQ(good({"props", "p.zip"}), "created         2026-01-31T10:00:00.25Z\n"
                                        "keywords        letter@en\n"
                                        "                Brief@de-CH\n"
                                        "                x@de@\n"
                                        "                me@home.org\n"
                                        "lastPrinted     2026-01-31T10:00:00Z\n"
                                        "subject\n"
                                        "title           Dear \\x0A \\u202Ereader\n"
                                        "version           1 \n");
    EXPECT_EQ(report({"props", "p.zip"}), json::parse(R"({
        "version": 1, "command": "props", "file": "p.zip", "part": "/meta/1.psmdcp",
        "relationshipType": "http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties",
        "properties": {
            "category": null, "contentStatus": null, "created": "2026-01-31T10:00:00.25Z", "creator": null,
            "description": null, "identifier": null,
            "keywords": [{"text": "letter", "language": "en"}, {"text": "Brief", "language": "de-CH"},
                         {"text": "x@de", "language": null}, {"text": "me@home.org", "language": null}],
            "language": null, "lastModifiedBy": null, "lastPrinted": "2026-01-31T10:00:00Z", "modified": null,
            "revision": null, "subject": "", "title": "Dear \n \u202Ereader", "version": "  1 "
        },
        "unread": [], "furtherParts": []
    })"));
}

TEST_F(Props, AreNoneInAPackageWithoutThem) {
    writeZip("p.zip", letter());
    EXPECT_EQ(good({"props", "p.zip"}), "No core properties.\n");
    EXPECT_EQ(report({"props", "p.zip"})["part"], nullptr);
    writeProperties("");
    EXPECT_EQ(good({"props", "p.zip"}), "No core properties.\n");
    EXPECT_EQ(report({"props", "p.zip"})["part"], "/meta/1.psmdcp");
}

TEST_F(Props, AreSetAndUnsetByTheNamesOfTheirElements) {
    writeZip("p.zip", letter());
    json expected;
    for (const std::string name :
         {"category", "contentStatus", "created", "creator", "description", "identifier", "keywords", "language",
          "lastModifiedBy", "lastPrinted", "modified", "revision", "subject", "title", "version"}) {
        const bool isDate = name == "created" || name == "lastPrinted" || name == "modified";
        const std::string value = isDate ? "2026-01-31T10:00:00Z" : "value of " + name;
        EXPECT_EQ(good({"props", "p.zip", "--set", name + '=' + value}), "");
        if (name == "keywords")
            expected[name] = {{{"text", value}, {"language", nullptr}}};
        else
            expected[name] = value;
        EXPECT_EQ(present(), expected);
    }
    const json all = expected;
    for (const auto& [name, value] : all.items()) {
        EXPECT_EQ(good({"props", "p.zip", "--unset", name}), "");
        expected.erase(name);
        EXPECT_EQ(present(), expected);
    }
}

TEST_F(Props, TakeTextsAsTheyAre) {
    writeProperties("");
    for (const std::string value :
         {"", " a ", "a=b=c", "--clear", "[a,b]", "{}", "\"quoted\"", "<&>]]>", "a\tb\nc\r\nd",
          "Gr\xC3\xBC\xC3\x9F"
          "e \xF0\x9F\x98\x80",
          "%20", "\xC2\x85"}) {
        good({"props", "p.zip", "--set", "title=" + value});
        EXPECT_EQ(present()["title"], value);
    }
}

TEST_F(Props, TakeDatesAndSayWhatIsNone) {
    writeProperties("");
    const std::pair<std::string, std::string> cases[] = {
        {"2026", "2026-01-01T00:00:00Z"},
        {"2026-03-04T23:06:07.5-02:30", "2026-03-05T01:36:07.5Z"},
        {"9999-12-31T23:59:59.9999999Z", "9999-12-31T23:59:59.999999Z"},
    };
    for (const auto& [argument, stored] : cases) {
        good({"props", "p.zip", "--set", "created=" + argument, "--set", "lastPrinted=" + argument});
        EXPECT_EQ(present(), json({{"created", stored}, {"lastPrinted", stored}})) << argument;
    }
    for (const std::string argument : {"", "tomorrow", "1399"})
        refuses({"props", "p.zip", "--set", "modified=" + argument}, 64,
                "p.zip: \"modified=" + argument +
                    "\": this is no date of the years 1400 to 9999; one looks like 2026-01-31T10:00:00Z");
}

TEST_F(Props, KeywordsHaveALanguageWhenTheirEndLooksLikeOne) {
    writeProperties("<cp:keywords>old<cp:value>older</cp:value></cp:keywords>");
    struct Case {
        std::string argument;
        std::string text;
        std::string language; // empty for none
    };
    const Case cases[] = {
        {"letter@en", "letter", "en"},
        {"Brief@de-CH-1996", "Brief", "de-CH-1996"},
        {"i@zh-Hant-TW", "i", "zh-Hant-TW"},
        {"own@x-mine", "own", "x-mine"},
        {"qaStaH@i-klingon", "qaStaH", "i-klingon"},
        {"a@b@fr", "a@b", "fr"},
        {"@en", "", "en"},
        {"plain", "plain", ""},
        {"", "", ""},
        {"[a,b]", "[a,b]", ""},
        {"{}", "{}", ""},
        {"me@de@", "me@de", ""},
        {"a@", "a", ""},
        {"a@@", "a@", ""},
        {"me@home", "me@home", ""},
        {"me@home.de", "me@home.de", ""},
        {"a@x", "a@x", ""},
        {"a@e", "a@e", ""},
        {"a@en-", "a@en-", ""},
        {"a@en--us", "a@en--us", ""},
        {"a@en-123456789", "a@en-123456789", ""},
        {"a@1n", "a@1n", ""},
        {"a@en us", "a@en us", ""},
        {"a@\xC3\xA4h", "a@\xC3\xA4h", ""},
    };
    Arguments all{"props", "p.zip"};
    json expected;
    for (const Case& each : cases) {
        const json keyword = {{"text", each.text}, {"language", each.language.empty() ? json() : json(each.language)}};
        good({"props", "p.zip", "--keyword", each.argument});
        EXPECT_EQ(present()["keywords"], json::array({keyword})) << each.argument;
        all.insert(all.end(), {"--keyword", each.argument});
        expected.push_back(keyword);
    }
    good(all);
    EXPECT_EQ(present()["keywords"], expected) << "in their order";

    // What is shown can be given again.
    std::istringstream shown(good({"props", "p.zip"}));
    Arguments again{"props", "p.zip"};
    for (std::string line; std::getline(shown, line);)
        again.push_back("--keyword=" + (line.size() > 16 ? line.substr(16) : "@"));
    good(again);
    EXPECT_EQ(present()["keywords"], expected);
}

TEST_F(Props, ThatTheCommandDoesNotNameKeepTheirValue) {
    writeProperties("<cp:version> 1\n</cp:version><dc:description>a\r\nb&#13;c&#x1F600;<![CDATA[]]></dc:description>"
                    "<cp:keywords xml:lang='en'> one \n<cp:value>two </cp:value><cp:value xml:lang='de'/></cp:keywords>"
                    "<dc:subject/><cp:category><![CDATA[<c>]]></cp:category>"
                    "<dcterms:created " +
                    xsiType +
                    ">2026-01</dcterms:created>"
                    "<dcterms:modified " +
                    xsiType +
                    ">\n2026-01-31T12:00:00.1234567+02:00 </dcterms:modified>"
                    "<cp:lastPrinted>2026-01-31T10:00:00.500</cp:lastPrinted>");
    json expected = present();
    EXPECT_EQ(expected.size(), 8U);
    good({"props", "p.zip", "--set", "title=T"});
    expected["title"] = "T";
    EXPECT_EQ(present(), expected);
    good({"props", "p.zip", "--unset", "title", "--unset", "subject", "--keyword", "k"});
    expected.erase("title");
    expected.erase("subject");
    expected["keywords"] = {{{"text", "k"}, {"language", nullptr}}};
    EXPECT_EQ(present(), expected);
    EXPECT_THAT(good({"cat", "p.zip", "/meta/1.psmdcp"}),
                AllOf(HasSubstr(">2026-01-01T00:00:00Z<"), HasSubstr(">2026-01-31T10:00:00.123456Z<"),
                      HasSubstr(">2026-01-31T10:00:00.5Z<")));
}

TEST_F(Props, WriteNothingWhenNothingChanges) {
    writeProperties("<dc:title>T</dc:title><dcterms:created " + xsiType + ">2026-01</dcterms:created>");
    std::vector<RawItem> items = packageWith(coreProperties("<dc:title>T</dc:title>"));
    items.push_back({".signature.p7s", "signed", 0});
    writeZip("signed.zip", items);
    writeZip("none.zip", letter());
    const std::pair<std::string, Arguments> cases[] = {
        {"p.zip", {"--unset", "revision", "--unset", "keywords"}},
        {"p.zip", {"--set", "title=T", "--set", "created=2026-01-01T00:00:00Z"}},
        {"signed.zip", {"--unset", "revision"}},
        {"none.zip", {"--unset", "title"}},
        {"none.zip", {"--clear"}},
    };
    for (const auto& [file, options] : cases) {
        const std::string before = read(file);
        Arguments arguments{"props", file};
        arguments.insert(arguments.end(), options.begin(), options.end());
        EXPECT_EQ(good(arguments), "");
        EXPECT_EQ(read(file), before);
        arguments.insert(arguments.end(), {"-o", "out.zip"});
        EXPECT_EQ(good(arguments), "");
        EXPECT_EQ(read("out.zip"), before) << "a copy was asked for";
        arguments.back() = "-";
        EXPECT_EQ(good(arguments), before);
    }
}

TEST_F(Props, GoWithTheirPartWhenTheyAreCleared) {
    writeProperties("<dc:title>T</dc:title>");
    EXPECT_EQ(good({"props", "p.zip", "--clear"}), "");
    EXPECT_EQ(good({"props", "p.zip"}), "No core properties.\n");
    EXPECT_THAT(RawZipReader(readFile(folder_ / "p.zip")).names(),
                ElementsAre("[Content_Types].xml", "_rels/.rels", "a.xml"));
    EXPECT_EQ(report({"rels", "p.zip"})["relationships"].size(), 1U);

    // They go although they cannot be read, or are not there.
    writeZip("p.zip", packageWith("no XML"));
    good({"props", "p.zip", "--clear"});
    EXPECT_EQ(good({"props", "p.zip"}), "No core properties.\n");
    for (const Rel& rel : {Rel{"c", coreType, "gone.xml"}, Rel{"c", coreType, "http://example.org/", true}}) {
        writeZip("p.zip", {contentTypes({"xml=application/xml"}), relationships("_rels/.rels", {rel})});
        good({"props", "p.zip", "--clear"});
        EXPECT_EQ(good({"rels", "p.zip"}), "No relationships.\n");
    }
}

TEST_F(Props, AreFoundByTheTypesThatOfficeProgramsWriteInPlaceOfTheStandards) {
    const std::string small =
        "http://schemas.openxmlformats.org/officedocument/2006/relationships/metadata/core-properties";
    const std::string capital = officeTypes + "/metadata/core-properties";
    for (const auto& [type, other] :
         {std::pair(small, std::string()), {capital, ""}, {coreType, small}, {small, capital}}) {
        std::vector<Rel> related{{"b", type, "core.xml"}};
        if (!other.empty())
            related.push_back({"a", other, "other.xml"});
        writeZip("p.zip", {contentTypes({"xml=application/xml"}),
                           relationships("_rels/.rels", related),
                           {"core.xml", coreProperties("<dc:title>T</dc:title>")},
                           {"other.xml", coreProperties("<dc:title>O</dc:title>")}});
        const json place = {{"part", "/core.xml"}, {"relationshipType", type}};
        const json found = report({"props", "p.zip"});
        EXPECT_EQ(report({"info", "p.zip"})["coreProperties"], place);
        EXPECT_EQ(json({{"part", found["part"]}, {"relationshipType", found["relationshipType"]}}), place);
        EXPECT_EQ(found["furtherParts"].size(), other.empty() ? 0U : 1U);
        EXPECT_THAT(good({"props", "p.zip"}),
                    AllOf(HasSubstr("title           T\n"), HasSubstr(other), HasSubstr(type == coreType ? "" : type)));

        const ProcessResult set = opcraft({"props", "p.zip", "--set", "title=U", "--set", "creator=C"});
        EXPECT_EQ(set.err.find("/other.xml was not changed") == std::string::npos, other.empty());
        opcraft({"props", "p.zip", "--unset", "creator", "-o", "out.zip"});
        EXPECT_EQ(present("out.zip"), json({{"title", "U"}}));
        EXPECT_EQ(report({"list", "out.zip"})["parts"].size(), 2U) << "no further part";
        EXPECT_EQ(report({"rels", "out.zip"})["relationships"].size(), related.size());

        good({"props", "out.zip", "--clear"});
        EXPECT_EQ(good({"props", "out.zip"}), "No core properties.\n");
        EXPECT_EQ(report({"list", "out.zip"})["parts"].size(), other.empty() ? 1U : 0U);
    }
}

TEST_F(Props, LeaveTheirPartWhenSomethingElseLeadsToIt) {
    writeZip("p.zip", {contentTypes({"xml=application/xml"}),
                       relationships("_rels/.rels", {{"c", coreType, "core.xml"}, {"d", "http://t", "CORE.xml#x"}}),
                       {"core.xml", coreProperties("<dc:title>T</dc:title>")}});
    good({"props", "p.zip", "--clear"});
    EXPECT_EQ(good({"props", "p.zip"}), "No core properties.\n");
    EXPECT_THAT(good({"cat", "p.zip", "/core.xml"}), HasSubstr("<dc:title>T"));
}

/// A part that is valid, and what of it cannot be read.
struct Unreadable {
    std::string element;
    std::string name;
    std::string text;
};

TEST_F(Props, ThatAChangeWouldLoseAreToldAndKeepItFromBeingMade) {
    const auto date = [](const std::string& text) {
        return "<dcterms:created " + xsiType + ">" + text + "</dcterms:created>";
    };
    const Unreadable cases[] = {
        {date("0001-01-01T00:00:00Z"), "created", "0001-01-01T00:00:00Z"},
        {date("2026-01-31+02:00"), "created", "2026-01-31+02:00"},
        {date("2026<!-- about -->-01-31"), "created", "2026-01-31"},
        {"<cp:lastPrinted>-0044-03-15T12:00:00</cp:lastPrinted>", "lastPrinted", "-0044-03-15T12:00:00"},
        {"<dc:creator><![CDATA[a]]> b</dc:creator>", "creator", "a b"},
        {"<dc:creator>a<!-- and -->b</dc:creator>", "creator", "ab"},
        {"<dc:creator><!-- a -->b</dc:creator>", "creator", "b"},
        {"<dc:creator><?a b?></dc:creator>", "creator", ""},
        {"<cp:keywords>a<cp:value>b</cp:value>c</cp:keywords>", "keywords", "abc"},
        {"<cp:keywords><cp:value>b</cp:value>c</cp:keywords>", "keywords", "bc"},
        {"<cp:keywords>a<cp:value>b<!-- -->c</cp:value></cp:keywords>", "keywords", "abc"},
    };
    for (const Unreadable& each : cases) {
        writeProperties(each.element + "<dc:title>T</dc:title>");
        const std::string quoted = "p.zip: /meta/1.psmdcp: what <" + each.name + "> holds (\"" + each.text + "\")";
        refuses({"props", "p.zip", "--set", "title=U"}, 2, quoted + " would be lost by a change; set or unset it too");
        const std::string warning = "opcraft: p.zip: /meta/1.psmdcp: warning: what <" + each.name + "> holds (\"" +
                                    each.text + "\") cannot be read as a whole\n";
        EXPECT_EQ(opcraft({"props", "p.zip"}).err, warning);
        const ProcessResult asJson = opcraft({"props", "p.zip", "--json"});
        EXPECT_EQ(asJson.err, warning);
        EXPECT_EQ(json::parse(asJson.out)["unread"],
                  json::array({json({{"property", each.name}, {"text", each.text}})}));

        good({"props", "p.zip", "--set", "title=T"}); // nothing changes, so nothing is lost
        good({"props", "p.zip", "--unset", each.name});
        EXPECT_EQ(present(), json({{"title", "T"}})) << each.element;
        EXPECT_THAT(good({"cat", "p.zip", "/meta/1.psmdcp"}), Not(HasSubstr(each.name)));
    }
}

struct Broken {
    std::string xml;
    std::string error; // as it ends
};

TEST_F(Props, OfABrokenPartNameTheRuleAndTheElement) {
    const std::string m42 = "Core properties shall not use the Markup Compatibility namespace. [M4.2]";
    const std::string compatibility = "http://schemas.openxmlformats.org/markup-compatibility/2006";
    const std::string ok = "<dcterms:modified " + xsiType +
                           ">2026</dcterms:modified>"
                           "<cp:keywords xml:lang='en'>a<cp:value xml:lang='de'>b</cp:value></cp:keywords>";
    const Broken cases[] = {
        {coreProperties(ok, "xmlns='" + compatibility + "'"),
         m42 + ", <cp:coreProperties> xmlns \"" + compatibility + '"'},
        {coreProperties(ok + "<t:alternative xmlns:t='http://purl.org/dc/terms/'/>"), "[M4.3], <t:alternative>"},
        {coreProperties(ok + "<dc:title>t</dc:title><dc:subject xml:lang='en'/>"),
         "[M4.4], <dc:subject> xml:lang \"en\""},
        {coreProperties("<dcterms:created " + xsiType + ">2026</dcterms:created><cp:lastPrinted>2026</cp:lastPrinted>"),
         ", <cp:lastPrinted> \"2026\""},
        {coreProperties(ok + "<dc:title><b/></dc:title>"), ", <b>"},
        {"<coreProperties/>", ", <coreProperties>"},
        {coreProperties("<dc:title/><dc:title/>"), ", <cp:coreProperties>"},
        {"no XML", "invalid document structure"},
        {"", "invalid document structure"},
    };
    for (const Broken& each : cases) {
        writeZip("p.zip", packageWith(each.xml));
        const std::string before = read("p.zip");
        for (const Arguments& arguments : {Arguments{"props", "p.zip"}, Arguments{"props", "p.zip", "--json"},
                                           Arguments{"props", "p.zip", "--set", "title=T"}}) {
            const ProcessResult result = opcraft(arguments);
            EXPECT_EQ(result.exitCode, 2) << each.xml;
            EXPECT_THAT(result.err, testing::StartsWith("opcraft: p.zip: /meta/1.psmdcp, line 1, column ")) << each.xml;
            EXPECT_THAT(result.err, testing::EndsWith(each.error + '\n')) << each.xml;
            EXPECT_EQ(result.err.find('\n'), result.err.size() - 1);
            EXPECT_EQ(result.out, "");
        }
        EXPECT_EQ(read("p.zip"), before);
    }
}

TEST_F(Props, ThatAreNotThereOrDamagedAreToldWithTheirName) {
    writeZip("p.zip", {contentTypes({"xml=a/b"}), relationships("_rels/.rels", {{"c", coreType, "core.xml"}})});
    refuses({"props", "p.zip"}, 2,
            "p.zip: core.xml: the core properties relationship \"c\" leads here, and this is no part");
    refuses({"props", "p.zip", "--set", "title=T"}, 2,
            "p.zip: core.xml: the core properties relationship \"c\" leads here, and this is no part");
    std::vector<RawItem> items = packageWith(coreProperties(""));
    items[2].crc = 1;
    writeZip("p.zip", items);
    refuses({"props", "p.zip"}, 2, "p.zip: /meta/1.psmdcp: the content is damaged: its checksum is wrong");
}

TEST_F(Props, WrongUsageIsToldBeforeTheFileIsLookedAt) {
    write("p.zip", std::string("no package"));
    const std::string names = "category, contentStatus, created, creator, description, identifier, keywords, language, "
                              "lastModifiedBy, lastPrinted, modified, revision, subject, title, version";
    const auto twice = [](const std::string& argument, const std::string& name) {
        return "p.zip: \"" + argument + "\": the property \"" + name + "\" is named twice";
    };
    const std::string help = "; 'opcraft props --help' explains";
    const std::pair<Arguments, std::string> cases[] = {
        {{"--set", "author=me"}, "p.zip: \"author=me\": there is no property \"author\", but " + names},
        {{"--set", "Title=me"}, "p.zip: \"Title=me\": there is no property \"Title\", but " + names},
        {{"--set", "=me"}, "p.zip: \"=me\": there is no property \"\", but " + names},
        {{"--unset", "tilte"}, "p.zip: \"tilte\": there is no property \"tilte\", but " + names},
        {{"--set", "title"}, "p.zip: \"title\": a property is set with NAME=VALUE"},
        {{"--set", "title=a", "--set", "title=b"}, twice("title=b", "title")},
        {{"--set", "title=a", "--unset", "title"}, twice("title", "title")},
        {{"--unset", "title", "--unset", "title"}, twice("title", "title")},
        {{"--set", "keywords=a", "--keyword", "b"}, twice("b", "keywords")},
        {{"--unset", "keywords", "--keyword", "b"}, twice("b", "keywords")},
        {{"--set", "title=a\x01"}, "p.zip: \"title=a\\x01\": the character U+0001 cannot stand in XML"},
        {{"--set", "title=\xEF\xBF\xBE"}, "p.zip: \"title=\xEF\xBF\xBE\": the character U+FFFE cannot stand in XML"},
        {{"--keyword", "\x1B[2J"}, "p.zip: \"\\x1B[2J\": the character U+001B cannot stand in XML"},
        {{"--set", "keywords=\x02"}, "p.zip: \"keywords=\\x02\": the character U+0002 cannot stand in XML"},
        {{"--set", "title=\xFF"}, "p.zip: \"\\xFF\": this is not UTF-8"},
        {{"-o", "out.zip"}, "p.zip: -o needs --set, --unset, --keyword or --clear"},
        {{"--clear", "--set", "title=a"}, "--set excludes --clear" + help},
        {{"--clear", "--unset", "title"}, "--unset excludes --clear" + help},
        {{"--clear", "--keyword", "a"}, "--keyword excludes --clear" + help},
        {{"--json", "--set", "title=a"}, "--json excludes --set" + help},
        {{"--json", "--clear"}, "--json excludes --clear" + help},
        {{"--set"}, "--set: 1 required NAME=VALUE missing" + help},
    };
    for (const auto& [options, error] : cases) {
        Arguments arguments{"props", "p.zip"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        refuses(arguments, 64, error);
    }
    refuses({"props", "-", "--set", "title=a"}, 64, "-: this cannot be changed in place; name a file with -o");
    refuses({"props", "p.zip"}, 2, "p.zip: not a ZIP file");
}

TEST_F(Props, AreReadFromAStream) {
    writeProperties("<dc:title>T</dc:title>");
    EXPECT_EQ(good({"props", "-"}, read("p.zip")), "title           T\n");
}

} // namespace
} // namespace opc::test
