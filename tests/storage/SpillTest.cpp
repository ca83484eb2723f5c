// SPDX-License-Identifier: Apache-2.0
#include "storage/Zips.hpp"

#include <sys/wait.h>
#include <unistd.h>

namespace opc::test {
namespace {

using interfaces::CompressionType;
namespace fs = std::filesystem;

std::shared_ptr<SpillArea> makeArea(std::uint64_t memory) {
    return std::make_shared<SpillArea>("book", memory, fs::path());
}

/// The files of this process that have no name any more.
long countUnnamedFiles() {
    const auto isUnnamed = [](const fs::directory_entry& entry) {
        std::error_code error;
        return fs::read_symlink(entry.path(), error).string().ends_with("(deleted)");
    };
    return std::count_if(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator(), isUnnamed);
}

TEST(Spill, ContentReadsBackAtAnyTimeWhereverItLies) {
    for (const CompressionType type : {CompressionType::Normal, CompressionType::None, CompressionType::SuperFast}) {
        for (const std::uint64_t memory : {std::uint64_t(0), std::uint64_t(100000), std::uint64_t(1) << 30}) {
            SCOPED_TRACE(testing::Message() << "type " << static_cast<int>(type) << ", memory " << memory);
            const auto content = std::make_shared<Content>(makeArea(memory), type);
            const auto early = readContent(content);
            std::string all;
            std::string earlyRead;
            for (unsigned i = 0; i < 40; ++i) {
                const std::string piece = someText(i % 7 == 0 ? 90000 : 1000, i);
                append(*content, piece);
                all += piece;
                earlyRead += readSome(*early, 3000);
                EXPECT_TRUE(i % 10 != 0 || readRest(*readContent(content), 5000 + i) == all);
            }
            content->finish();
            EXPECT_EQ(content->size(), all.size());
            EXPECT_EQ(content->spilled() != nullptr, memory < all.size());
            EXPECT_EQ(readRest(*readContent(content)), all);
            EXPECT_EQ(earlyRead + readRest(*early), all) << "a reader goes on when the content leaves the memory";
            EXPECT_EQ(readSome(*early, 10), "");
        }
    }
}

TEST(Spill, WhatContentsShareIsOneBoundAndOneFile) {
    const long before = countUnnamedFiles();
    const auto area = makeArea(50000);
    std::vector<std::shared_ptr<Content>> contents(300);
    std::vector<std::string> texts(contents.size());
    for (auto& content : contents)
        content = std::make_shared<Content>(area, CompressionType::Normal);
    for (unsigned round = 0; round < 5; ++round)
        for (std::size_t i = 0; i < texts.size(); ++i) {
            const std::string piece = someText(i % 50 == 0 ? 300000 : 100, round);
            append(*contents[i], piece);
            texts[i] += piece;
        }
    EXPECT_EQ(countUnnamedFiles(), before + 1);
    std::size_t inMemory = 0;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        contents[i]->finish();
        inMemory += contents[i]->inMemory().size();
        EXPECT_EQ(readRest(*readContent(contents[i])), texts[i]) << i;
    }
    EXPECT_LE(inMemory, 50000U);
    EXPECT_GT(inMemory, 40000U);
    contents.clear();
    EXPECT_TRUE(area->reserveMemory(50000)) << "all memory is free again";
}

TEST(Spill, AForkedProcessLeavesTheFileAsItIs) {
    const auto area = makeArea(0);
    const std::string text = someText(300000, 1);
    auto content = std::make_shared<Content>(area, CompressionType::Normal);
    append(*content, text);
    content->finish();
    const pid_t child = ::fork();
    if (child == 0) {
        const bool isRefused = failsWith(Errc::operation_not_permitted, [&] { readRest(*readContent(content)); });
        content.reset();
        Content more(area, CompressionType::None);
        const bool isClosed = failsWith(Errc::operation_not_permitted, [&] { append(more, text), more.finish(); });
        ::_exit(isRefused && isClosed ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(readRest(*readContent(content)), text);
}

TEST(Spill, IsSavedAsItLies) {
    const TemporaryFolder folder;
    const fs::path file = folder / "p.zip";
    const fs::path temporary = folder / "temporary";
    const std::string text = someText(3000000);
    ZipPackage package{file, {.memory = 1000, .temporaryFolder = temporary}};
    package.open(OpenMode::CreateOnly);
    writeAll(*package.getContentTypeOutputStream(), TYPES);
    interfaces::IPhysicalPart* part = createPart(package, u"/a.xml", "");
    EXPECT_TRUE(failsWith(
        Errc::no_such_file_or_directory, "no temporary file can be created in \"",
        [&] { writeAll(*part->getOutputStream(), text); }));
    EXPECT_TRUE(failsWith(
        Errc::no_such_file_or_directory, [&] { package.close(false); }))
        << "without the content";
    EXPECT_TRUE(failsWith(Errc::no_such_file_or_directory, [&] { part->getOutputStream()->close(); }));
    fs::create_directory(temporary);
    writeAll(*part->getOutputStream(), text);
    EXPECT_TRUE(fs::is_empty(temporary)) << "the file has no name";
    createPart(package, u"/stored.xml", text, PartInfo(CompressionType::None));
    createPart(package, u"/small.xml", "small");
    write(*createPart(package, u"/open.xml", "")->getOutputStream(), text); // never closed
    package.close(false);
    const RawZipReader raw(readFile(file));
    EXPECT_EQ(raw.at("a.xml").method, 8U);
    EXPECT_LT(raw.at("a.xml").payload.size(), text.size() * 3 / 4);
    EXPECT_EQ(raw.at("a.xml").payload, raw.at("open.xml").payload);
    EXPECT_EQ(raw.at("a.xml").crc, raw.at("stored.xml").crc);
    EXPECT_EQ(raw.at("stored.xml").payload, text);
    EXPECT_EQ(raw.at("stored.xml").method, 0U);

    package.open(OpenMode::ReadWrite);
    EXPECT_EQ(readPart(package, u"/a.xml"), text);
    writePart(package, u"/small.xml", text + text);
    writePart(package, u"/a.xml", "short");
    package.close(false);
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(readPart(package, u"/small.xml"), text + text);
    EXPECT_EQ(readPart(package, u"/a.xml"), "short");
    EXPECT_EQ(readPart(package, u"/open.xml"), text);
    EXPECT_EQ(folder.names(), (std::set<std::string>{"p.zip", "temporary"}));
}

} // namespace
} // namespace opc::test
