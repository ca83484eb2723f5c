// SPDX-License-Identifier: Apache-2.0
#include "storage/Zips.hpp"

#include <sys/stat.h>

namespace opc::test {
namespace {

Bytes smallZip() {
    return zipWith({{"a.xml", "content of a"}, {"b.xml", "content of b", 0}});
}

TEST(ZipDamage, WhatIsNoPackageFailsTheOpenWithAReason) {
    const Bytes good = smallZip();
    const std::pair<Bytes, const char*> cases[] = {
        {{}, "an empty file"},
        {{'P', 'K'}, "not a ZIP file"},
        {Bytes(100000, 'x'), "not a ZIP file"},
        {{good.begin(), good.begin() + 100}, "a ZIP file whose end is missing"},
        {{good.begin() + 10, good.end()}, ""},
        {makeZip({}), "no item \"[Content_Types].xml\""},
        {makeZip({{"x/[Content_Types].xml", TYPES}}), "no item \"[Content_Types].xml\""},
    };
    for (const auto& [bytes, said] : cases)
        EXPECT_THAT(openingSays(bytes), AllOf(testing::StartsWith("ZIP package in memory: "), HasSubstr(said)));
}

TEST(ZipDamage, WhatCannotBeOpenedSaysWhy) {
    TemporaryFolder folder;
    std::filesystem::create_directory(folder / "folder");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    writeFile(folder / "file", {'x'});
    std::filesystem::create_symlink("nowhere", folder / "dangling");
    std::filesystem::create_symlink("loop", folder / "loop");
    const std::pair<const char*, Errc> cases[] = {
        {"absent", Errc::no_such_file_or_directory},
        {"absent/a", Errc::no_such_file_or_directory},
        {"dangling", Errc::no_such_file_or_directory},
        {"folder", Errc::is_a_directory},
        {"file/a", Errc::not_a_directory},
        {"loop", Errc::too_many_symbolic_link_levels},
        {"pipe", Errc::bad_message},
    };
    for (const auto& [name, code] : cases)
        for (const OpenMode mode : {OpenMode::ReadOnly, OpenMode::ReadWrite}) {
            ZipPackage package(folder / name);
            EXPECT_TRUE(failsWith(code, name, [&] { package.open(mode); })) << name;
        }
}

TEST(ZipDamage, OneDamagedItemLeavesTheOthersReadable) {
    const std::string text(100000, 't');
    const struct {
        int method;
        unsigned flags;
        std::optional<std::uint32_t> crc;
        std::optional<std::uint32_t> size;
        Errc code;
        const char* said;
    } cases[] = {
        {8, 0, 1, {}, Errc::bad_message, "checksum"},
        {0, 0, 1, {}, Errc::bad_message, "checksum"},
        {8, 0, {}, 99999, Errc::bad_message, "its length"},
        {8, 0, {}, 0x7FFFFFFF, Errc::bad_message, "its length"},
        {1, 0, {}, {}, Errc::not_supported, "compression method"},
        {97, 0, {}, {}, Errc::not_supported, "compression method"},
        {8, 1, {}, {}, Errc::not_supported, "encrypted"},
        {8, 0x41, {}, {}, Errc::not_supported, "encrypted"}, // strongly
    };
    for (const auto& [method, flags, crc, size, code, said] : cases) {
        SCOPED_TRACE(testing::Message() << "method " << method << ", flags " << flags);
        Zip zip(zipWith({{"a.xml", text}, {"bad.xml", text, method, flags, crc, size}, {"b.xml", text}}));
        for (int twice = 0; twice < 2; ++twice) {
            EXPECT_TRUE(failsWith(
                code, said, [&] { zip.read(u"/bad.xml"); }));
            EXPECT_TRUE(failsWith(code, "\"bad.xml\"", [&] { zip.read(u"/bad.xml"); }));
            EXPECT_EQ(zip.read(u"/a.xml"), text);
            EXPECT_EQ(zip.read(u"/b.xml"), text);
        }
    }
}

TEST(ZipDamage, AStreamThatIsNotOpenIsNotRead) {
    Zip zip(smallZip());
    auto& stream = *findPart(zip.package, u"/a.xml")->getInputStream();
    EXPECT_TRUE(failsWith(Errc::bad_file_descriptor, "\"a.xml\"", [&] { readOn(stream); }));
    EXPECT_EQ(readAll(stream), "content of a");
    EXPECT_TRUE(failsWith(Errc::bad_file_descriptor, "\"a.xml\"", [&] { readOn(stream); }));
}

TEST(ZipDamage, AFileCutOffAnywhereIsRefused) {
    for (Bytes bytes = smallZip(); !bytes.empty();) {
        bytes.pop_back();
        EXPECT_NE(openingSays(bytes), "opens") << bytes.size();
    }
}

/// Opens and reads all that there is. Whatever the bytes, this works or throws an `opc::Exception` that says
/// something else than that a file is missing.
void readEverything(Bytes bytes, bool consistent) {
    ZipOptions options;
    options.consistent = consistent;
    ZipPackage package(bytes, options);
    try {
        package.open(OpenMode::ReadOnly);
    } catch (const Exception& e) {
        EXPECT_NE(e.code(), make_error_condition(Errc::no_such_file_or_directory)) << e.what();
        EXPECT_TRUE(e.code());
        return;
    }
    for (const ZipItem& item : package.getItems()) {
        try {
            readAll(*package.getItemInputStream(item.name));
        } catch (const Exception& e) {
            EXPECT_TRUE(e.code() == make_error_condition(Errc::bad_message) ||
                        e.code() == make_error_condition(Errc::not_supported))
                << e.what();
        }
    }
}

TEST(ZipDamage, AnyByteMayBeAnyOther) {
    const Bytes good = smallZip();
    for (std::size_t at = 0; at < good.size(); ++at) {
        for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF, 0x2F, 0x5C, good[at] ^ 0x10}) {
            SCOPED_TRACE(testing::Message() << "byte " << at << " is " << value);
            Bytes bytes = good;
            bytes[at] = static_cast<unsigned char>(value);
            readEverything(bytes, false);
            readEverything(bytes, true);
        }
    }
}

} // namespace
} // namespace opc::test
