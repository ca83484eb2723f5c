// SPDX-License-Identifier: Apache-2.0
#include "support/PhysicalAccess.hpp"
#include "support/RawZip.hpp"
#include "support/TemporaryFolder.hpp"

#include <opc/storage/zip/ZipPackage.hpp>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace opc::storage {

using namespace opc::test;

namespace {

const std::string TYPES = contentTypes("<Default Extension='xml' ContentType='a/xml'/>");

std::vector<unsigned char> smallZip() {
    return makeZip({{"[Content_Types].xml", TYPES}, {"a.xml", "content of a"}, {"b.xml", "content of b", 0}});
}

/// Opens and reads all that there is. Whatever the bytes, this works or throws an `opc::Exception` that says
/// something else than that a file is missing.
void readEverything(std::vector<unsigned char>& bytes, bool consistent) {
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

} // namespace

TEST(ZipDamage, WhatIsNoPackageFailsTheOpenWithAReason) {
    const std::vector<unsigned char> good = smallZip();
    const struct {
        std::vector<unsigned char> bytes;
        const char* said;
        const char* why;
    } cases[] = {
        {{}, "an empty file", "empty"},
        {{'P', 'K'}, "not a ZIP file", "two bytes"},
        {std::vector<unsigned char>(100000, 'x'), "not a ZIP file", "text"},
        {{good.begin(), good.end() - 1}, "", "the last byte is missing"},
        {{good.begin(), good.begin() + 100}, "a ZIP file whose end is missing", "cut off"},
        {{good.begin() + 10, good.end()}, "", "the beginning is missing"},
        {makeZip({}), "no item \"[Content_Types].xml\"", "a ZIP file without items"},
        {makeZip({{"a.xml", "a"}}), "no item \"[Content_Types].xml\"", "no content types stream"},
        {makeZip({{"x/[Content_Types].xml", TYPES}}), "no item", "in a folder"},
    };
    TemporaryFolder folder;
    for (const auto& [bytes, said, why] : cases) {
        writeFile(folder / "book.docx", bytes);
        for (const OpenMode mode : {OpenMode::ReadOnly, OpenMode::ReadWrite}) {
            ZipPackage package(folder / "book.docx");
            EXPECT_TRUE(failsWith(Errc::bad_message, said, [&] { package.open(mode); })) << why;
            EXPECT_TRUE(failsWith(Errc::bad_message, "book.docx: ", [&] { package.open(mode); })) << why;
        }
        EXPECT_EQ(readFile(folder / "book.docx"), bytes) << why;
    }
}

TEST(ZipDamage, WhatCannotBeOpenedSaysWhy) {
    TemporaryFolder folder;
    std::filesystem::create_directory(folder / "folder");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    writeFile(folder / "file", {'x'});
    std::filesystem::create_symlink("nowhere", folder / "dangling");
    std::filesystem::create_symlink("loop", folder / "loop");
    const struct {
        std::string name;
        Errc code;
    } cases[] = {
        {"absent", Errc::no_such_file_or_directory},
        {"absent/a", Errc::no_such_file_or_directory},
        {"dangling", Errc::no_such_file_or_directory},
        {"folder", Errc::is_a_directory},
        {"file/a", Errc::not_a_directory},
        {"loop", Errc::too_many_symbolic_link_levels},
        {"pipe", Errc::bad_message},
    };
    for (const auto& [name, code] : cases)
        for (const OpenMode mode : {OpenMode::ReadOnly, OpenMode::ReadWrite})
            EXPECT_TRUE(failsWith(code, name, [&, &n = name] { ZipPackage(folder / n).open(mode); })) << name;
}

TEST(ZipDamage, OneDamagedItemLeavesTheOthersReadable) {
    const std::string text(100000, 't');
    const std::string deflated = deflate(text);
    const struct {
        RawItem item;
        Errc code;
        const char* said;
        const char* why;
    } cases[] = {
        {{.name = "bad.xml", .content = text, .crc = 1}, Errc::bad_message, "checksum", "wrong checksum"},
        {{.name = "bad.xml", .content = text, .method = 0, .crc = 1}, Errc::bad_message, "checksum", "and stored"},
        {{.name = "bad.xml", .content = text, .size = 99999}, Errc::bad_message, "as long as", "more than it says"},
        {{.name = "bad.xml", .content = text, .size = 0x7FFFFFFF},
         Errc::bad_message,
         "as long as",
         "less than it says"},
        {{.name = "bad.xml", .content = text, .method = 1},
         Errc::not_supported,
         "compression method",
         "shrunk, of old"},
        {{.name = "bad.xml", .content = text, .method = 97}, Errc::not_supported, "compression method", "unknown"},
        {{.name = "bad.xml", .content = text, .flags = 1}, Errc::not_supported, "encrypted", "encrypted"},
        {{.name = "bad.xml", .content = text, .flags = 0x41}, Errc::not_supported, "encrypted", "strongly encrypted"},
    };
    for (const auto& [item, code, said, why] : cases) {
        auto bytes = makeZip({{"[Content_Types].xml", TYPES}, {"a.xml", text}, item, {"b.xml", text}});
        ZipPackage package(bytes);
        package.open(OpenMode::ReadOnly);
        for (int twice = 0; twice < 2; ++twice) {
            interfaces::IPhysicalInputStream& stream = *findPart(package, u"/bad.xml")->getInputStream();
            EXPECT_TRUE(failsWith(code, said, [&] { readAll(stream); })) << why;
            EXPECT_TRUE(failsWith(code, "\"bad.xml\"", [&] { readAll(stream); })) << why;
            EXPECT_EQ(readPart(package, u"/a.xml"), text) << why;
            EXPECT_EQ(readPart(package, u"/b.xml"), text) << why;
        }
    }
}

TEST(ZipDamage, AStreamThatIsNotOpenIsNotRead) {
    auto bytes = smallZip();
    ZipPackage package(bytes);
    package.open(OpenMode::ReadOnly);
    interfaces::IPhysicalInputStream& stream = *findPart(package, u"/a.xml")->getInputStream();
    EXPECT_TRUE(failsWith(Errc::bad_file_descriptor, "\"a.xml\"", [&] { readOn(stream); }));
    EXPECT_EQ(readAll(stream), "content of a");
    EXPECT_TRUE(failsWith(Errc::bad_file_descriptor, "\"a.xml\"", [&] { readOn(stream); }));
}

TEST(ZipDamage, AFileCutOffAnywhereIsRefusedOrRead) {
    const auto good = smallZip();
    for (std::size_t size = 0; size < good.size(); ++size) {
        std::vector<unsigned char> bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_TRUE(failsWith(Errc::bad_message, [&] { ZipPackage(bytes).open(OpenMode::ReadOnly); })) << size;
    }
}

TEST(ZipDamage, AnyByteMayBeAnyOther) {
    const auto good = smallZip();
    for (std::size_t at = 0; at < good.size(); ++at) {
        for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF, 0x2F, 0x5C, good[at] ^ 0x10}) {
            auto bytes = good;
            bytes[at] = static_cast<unsigned char>(value);
            SCOPED_TRACE(testing::Message() << "byte " << at << " is " << value);
            readEverything(bytes, false);
            readEverything(bytes, true);
        }
    }
}

} // namespace opc::storage
