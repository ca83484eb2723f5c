// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/Process.hpp"
#include "support/RawZip.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace opc::test {

using Arguments = std::vector<std::string>;

const std::string packageTypes = "http://schemas.openxmlformats.org/package/2006/relationships";
const std::string officeTypes = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
const std::string wordType = "application/vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml";
const std::string relsType = "application/vnd.openxmlformats-package.relationships+xml";

/// A content types stream. Entries are written as "extension=type" and "/part=type".
inline RawItem contentTypes(const std::vector<std::string>& entries) {
    std::string xml = "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">"
                      "<Default Extension=\"rels\" ContentType=\"" +
                      relsType + "\"/>";
    for (const std::string& entry : entries) {
        const std::string name = entry.substr(0, entry.find('='));
        xml += (name.front() == '/' ? "<Override PartName=\"" : "<Default Extension=\"") + name + "\" ContentType=\"" +
               entry.substr(name.size() + 1) + "\"/>";
    }
    return {"[Content_Types].xml", xml + "</Types>"};
}

struct Rel {
    std::string id;
    std::string type;
    std::string target;
    bool isExternal = false;
};

inline RawItem relationships(const std::string& item, const std::vector<Rel>& relationships) {
    std::string xml = "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">";
    for (const Rel& each : relationships)
        xml += "<Relationship Id=\"" + each.id + "\" Type=\"" + each.type + "\" Target=\"" + each.target + "\"" +
               (each.isExternal ? " TargetMode=\"External\"/>" : "/>");
    return {item, xml + "</Relationships>"};
}

/// A small document: two parts, of which one leads to the other and to the outside, and an item that is no part.
inline std::vector<RawItem> letter() {
    return {contentTypes({"xml=application/xml", "/word/document.xml=" + wordType}),
            relationships("_rels/.rels", {{"rId1", officeTypes + "/officeDocument", "word/document.xml"}}),
            {"word/document.xml", "<document>Dear reader</document>"},
            relationships("word/_rels/document.xml.rels", {{"rId10", officeTypes + "/styles", "styles.xml"},
                                                           {"rId2", officeTypes + "/image", "../media/gone.png"},
                                                           {"rId3", "http://link", "https://example.org/", true}}),
            {"word/styles.xml", "<styles/>"},
            {"[trash]/0000.dat", "leftover", 0}};
}

/// The same with an item that says that the file is signed.
inline std::vector<RawItem> signedLetter() {
    std::vector<RawItem> items = letter();
    items.push_back({".signature.p7s", "signed", 0});
    return items;
}

/// Runs the tool in a folder of its own.
class CommandLine : public testing::Test {
protected:
    ProcessResult opcraft(const Arguments& arguments, const ProcessOptions& options = {}) const {
        ProcessOptions here = options;
        here.folder = folder_.path();
        return runProcess(OPCRAFT_TOOL, arguments, here);
    }

    /// Runs a command that must go well. @return what it printed.
    std::string good(const Arguments& arguments, const std::string& input = {}) const {
        const ProcessResult result = opcraft(arguments, {input});
        EXPECT_EQ(result.exitCode, 0) << testing::PrintToString(arguments) << '\n' << result.err;
        EXPECT_EQ(result.err, "") << testing::PrintToString(arguments);
        return result.out;
    }

    /// The report of a reading command.
    nlohmann::json report(Arguments arguments) const {
        arguments.emplace_back("--json");
        return nlohmann::json::parse(good(arguments));
    }

    void write(const std::string& name, const std::vector<unsigned char>& bytes) const {
        writeFile(folder_ / name, bytes);
    }
    void write(const std::string& name, const std::string& text) const {
        writeFile(folder_ / name, {text.begin(), text.end()});
    }
    void writeZip(const std::string& name, const std::vector<RawItem>& items) const { write(name, makeZip(items)); }
    std::string read(const std::string& name) const {
        const auto bytes = readFile(folder_ / name);
        return {bytes.begin(), bytes.end()};
    }

    TemporaryFolder folder_;
};

} // namespace opc::test
