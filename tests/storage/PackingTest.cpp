// SPDX-License-Identifier: Apache-2.0
#include "storage/Zips.hpp"
#include "support/Throws.hpp"

#include <opc/storage/Packing.hpp>

#include <unistd.h>

namespace opc::test {
namespace {

namespace fs = std::filesystem;

/// A folder with a package, beside which files are made.
class Packing : public testing::Test {
protected:
    Packing() {
        put("[Content_Types].xml", TYPES);
        put("_rels/.rels",
            relationshipsXml("<Relationship Id='a' Target='word/document.xml' Type='http://"
                             "schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument'/>"));
        put("word/document.xml", "document");
    }

    void put(const std::string& name, const std::string& text) const {
        fs::create_directories((folder / ("in/" + name)).parent_path());
        writeFile(folder / ("in/" + name), toBytes(text));
    }

    Bytes packed(PackingOptions options = {}) const {
        Bytes bytes;
        pack(folder / "in", bytes, options);
        return bytes;
    }

    TemporaryFolder folder;
};

TEST_F(Packing, MakesTheSameBytesOfTheSameFilesInTheOrderInWhichProgramsLookForThem) {
    put("a.xml", std::string(100'000, 'a'));
    put("word/.hidden.xml", "");
    put("x%20y.xml", "x");
    put("z.xml/[0].piece", "pi");
    put("z.xml/[1].last.piece", "ece");
    put("\xC3\xA4 b.xml", "\xC3\xA4");
    PackingOptions spilling;
    spilling.memory = 10'000;
    const Bytes bytes = packed();
    RawZipReader zip(bytes);
    EXPECT_THAT(zip.names(), ElementsAre("[Content_Types].xml", "_rels/.rels", "word/document.xml", "a.xml",
                                         "word/.hidden.xml", "x%20y.xml", "z.xml", "\xC3\xA4 b.xml"));
    Zip package(bytes);
    EXPECT_EQ(package.read(u"/z.xml"), "piece");
    EXPECT_EQ(package.read(u"/a.xml"), std::string(100'000, 'a'));
    EXPECT_EQ(package.read(u"/%C3%A4%20b.xml"), "\xC3\xA4");
    Zip spilled(packed(spilling));
    EXPECT_EQ(spilled.read(u"/a.xml"), std::string(100'000, 'a'));
    fs::rename(folder / "in/a.xml", folder / "in/b");
    fs::last_write_time(folder / "in/b", {});
    fs::rename(folder / "in/b", folder / "in/a.xml");
    EXPECT_TRUE(packed() == bytes);
}

TEST_F(Packing, RefusesWhatIsNoPackageAndLeavesNothing) {
    const auto link = [this] { ASSERT_EQ(::symlink("word/document.xml", (folder / "in/link.xml").c_str()), 0); };
    const struct {
        std::function<void()> change;
        const char* file;
        const char* message; ///< behind the name of the folder or file
        bool otherItems = false;
    } cases[] = {
        {[this] { put("a.dat", ""), put("LICENSE", ""); }, "out",
         "in: \"LICENSE\": not a part: no content type, and no extension (of 2 such files)"},
        {link, "out", "in: \"link.xml\": a symbolic link", true},
        {[this] { put("word/Document.xml", ""); }, "out",
         "in: the items \"word/Document.xml\" and \"word/document.xml\" are the same part", true},
        {[this] { fs::remove(folder / "in/[Content_Types].xml"); }, "out", "in: a folder, not a package: ", true},
        {[] {}, "in/out", "in/out: the file is in the folder that is packed"},
        {[] {}, "in/word/../new/out", "in/word/../new/out: the file is in the folder that is packed"},
        {[] {}, "old", "old: the file exists"},
        {[] {}, "no/out", "no/out: no temporary file can be created in "},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.message);
        fs::copy(folder / "in", folder / "copy", fs::copy_options::recursive);
        writeFile(folder / "old", toBytes("old"));
        each.change();
        PackingOptions options;
        options.otherItems = each.otherItems;
        EXPECT_TRUE(throwsSaying<Exception>((folder / each.message).string(),
                                            [&] { pack(folder / "in", folder / each.file, options); }));
        EXPECT_EQ(toText(readFile(folder / "old")), "old");
        EXPECT_EQ(folder.names(), (std::set<std::string>{"copy", "in", "old"}));
        fs::remove_all(folder / "in");
        fs::rename(folder / "copy", folder / "in");
    }
}

TEST_F(Packing, ReplacesAFileWhenThatIsAskedForAndKeepsItsMode) {
    writeFile(folder / "old", toBytes("old"));
    fs::permissions(folder / "old", fs::perms::owner_read | fs::perms::owner_write);
    PackingOptions options;
    options.replaces = true;
    const PackingResult result = pack(folder / "in", folder / "old", options);
    EXPECT_EQ(result.items, 3U);
    EXPECT_TRUE(readFile(folder / "old") == packed());
    EXPECT_EQ(fs::status(folder / "old").permissions(), fs::perms::owner_read | fs::perms::owner_write);
    options.limits.itemSize = TYPES.size() - 1;
    EXPECT_TRUE(throwsSaying<Exception>("(limit ", [&] { packed(options); }));
}

} // namespace
} // namespace opc::test
