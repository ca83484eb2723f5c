// SPDX-License-Identifier: Apache-2.0
#include "storage/Zips.hpp"
#include "support/FoundFindings.hpp"

#include <opc/storage/directory/DirectoryPackage.hpp>

namespace opc::test {
namespace {

namespace fs = std::filesystem;

std::string contentOf(const std::string& name) {
    return name.ends_with("ypes].xml") ? TYPES : name;
}

/// The parts of a package, or what is said when it is opened, and the rules that it breaks.
std::string open(ItemPackage& package, const std::string& label, bool isTolerant = false) {
    FoundFindings found;
    std::string text;
    try {
        if (isTolerant)
            package.openTolerantly(OpenMode::ReadOnly, found);
        else
            package.open(OpenMode::ReadOnly);
        for (interfaces::IPhysicalPart* part : package.getParts())
            text += detail::toUTF8String(part->getName()) + '=' + readAll(*part->getInputStream()) + ' ';
        package.findAmbiguities(found, true);
    } catch (const Exception& e) {
        text += std::string(e.what()).substr(label.size());
    }
    return text + found.rules();
}

TEST(ADirectoryPackage, IsReadAsAZipFileOfTheSameItems) {
    const std::string types = "[Content_Types].xml";
    const struct {
        std::vector<std::string> files; ///< in the order of their names
        const char* expected;           ///< a part of what is said in a tolerant opening
    } cases[] = {
        {{types, "_rels/.rels", "a/b.xml", "b.xml", "c.bin"}, "/b.xml=b.xml M3.5"},
        {{types, "a%41.xml", "a:b.xml", "a\\b.xml", "\xC3\xA4 b.xml"},
         "/%C3%A4%20b.xml=\xC3\xA4 b.xml item-below-item"},
        {{types, "a.xml/[0].piece", "a.xml/[1].piece", "a.xml/[2].last.piece"}, "[2].last.piece interleaved-part"},
        {{types, "A.xml", "a.xml", "c.xml"}, "/c.xml=c.xml M1.12"},
        {{types, "[content_TYPES].xml", "c.xml"}, "M3.10"},
        {{"a.xml"}, "M3.10"},
        {{"mimetype"}, "not a package"},
    };
    for (const auto& [files, expected] : cases) {
        SCOPED_TRACE(files.back());
        const TemporaryFolder folder;
        std::vector<RawItem> items;
        for (const std::string& file : files) {
            fs::create_directories((folder / file).parent_path());
            writeFile(folder / file, toBytes(contentOf(file)));
            items.push_back({file, contentOf(file)});
        }
        Bytes zip = makeZip(items);
        for (const bool isConsistent : {false, true}) {
            ZipOptions ofZip;
            DirectoryOptions ofFolder;
            ofZip.consistent = ofFolder.consistent = isConsistent;
            for (const bool isTolerant : {false, true}) {
                ZipPackage inZip(zip, ofZip);
                DirectoryPackage inFolder(folder.path(), ofFolder);
                std::string said = open(inZip, "ZIP package in memory", isTolerant);
                boost::replace_first(said, ": a ZIP file, not", ": a folder, not");
                boost::replace_first(said, ": a ZIP file of", ": the content of a ZIP file of");
                EXPECT_EQ(open(inFolder, folder.path().string(), isTolerant), said);
                EXPECT_THAT(said, HasSubstr(isTolerant && !isConsistent ? expected : ""));
            }
        }
    }
}

TEST(ADirectoryPackage, LeavesOutLinksWhenItIsTolerant) {
    const TemporaryFolder folder;
    writeFile(folder / "[Content_Types].xml", toBytes(TYPES));
    writeFile(folder / "a.xml", toBytes("a"));
    fs::create_symlink("a.xml", folder / "b.xml");
    DirectoryPackage package(folder.path());
    const std::string label = folder.path().string();
    EXPECT_EQ(open(package, label), ": \"b.xml\": a symbolic link");
    EXPECT_EQ(open(package, label, true), "/a.xml=a zip-file-kind");
}

TEST(ADirectoryPackage, IsForReadingOnly) {
    const TemporaryFolder folder;
    writeFile(folder / "[Content_Types].xml", toBytes(TYPES));
    DirectoryPackage package(folder.path());
    FoundFindings findings;
    for (const OpenMode mode : {OpenMode::ReadWrite, OpenMode::CreateOnly}) {
        EXPECT_TRUE(failsWith(
            Errc::operation_not_permitted, [&] { package.open(mode); }));
        EXPECT_TRUE(failsWith(Errc::operation_not_permitted, [&] { package.openTolerantly(mode, findings); }));
    }
    package.open(OpenMode::ReadOnly);
    EXPECT_TRUE(failsWith(Errc::operation_not_permitted, [&] { package.changeItems({}, false); }));
    EXPECT_EQ(package.getStoredItems().size(), 1U);
    EXPECT_EQ(readAll(*package.getStoredItemInputStream(0)), TYPES);
}

} // namespace
} // namespace opc::test
