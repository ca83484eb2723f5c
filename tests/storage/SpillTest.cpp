// SPDX-License-Identifier: Apache-2.0
#include "support/PhysicalAccess.hpp"
#include "support/RawZip.hpp"
#include "support/TemporaryFolder.hpp"

#include <opc/storage/zip/ZipPackage.hpp>

#include "storage/Content.hpp"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>
#include <random>

namespace opc::storage {

namespace {

using namespace opc::test;
using interfaces::CompressionType;
using testing::HasSubstr;

const std::string TYPES = contentTypes("<Default Extension='bin' ContentType='a/b'/>");

/// Bytes that are like text: they compress, but not to nothing.
std::string someText(std::size_t size, unsigned seed = 1) {
    std::mt19937 random(seed);
    std::string text(size, '\0');
    for (char& c : text)
        c = static_cast<char>('a' + random() % 16);
    return text;
}

std::shared_ptr<SpillArea> makeArea(std::uint64_t memory, const std::filesystem::path& folder = {}) {
    return std::make_shared<SpillArea>("book", memory, folder);
}

void append(Content& content, const std::string& bytes) {
    content.append(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

std::string readSome(ItemReader& reader, std::size_t size) {
    std::string bytes(size, '\0');
    bytes.resize(reader.read(reinterpret_cast<unsigned char*>(bytes.data()), size));
    return bytes;
}

std::string readRest(ItemReader& reader, std::size_t piece = 70000) {
    std::string bytes;
    for (std::string next = readSome(reader, piece); !next.empty(); next = readSome(reader, piece))
        bytes += next;
    return bytes;
}

/// A package that is being created, and keeps next to nothing in memory.
struct SparingPackage {
    TemporaryFolder folder;
    ZipPackage package{folder / "p.zip", options()};

    SparingPackage() {
        package.open(OpenMode::CreateOnly);
        writeAll(*package.getContentTypeOutputStream(), TYPES);
    }

    static ZipOptions options() {
        ZipOptions options;
        options.memory = 1000;
        return options;
    }
};

/// The files of this process that have no name any more.
int countUnnamedFiles() {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const std::string target = std::filesystem::read_symlink(entry.path(), error).string();
        count += target.ends_with("(deleted)") ? 1 : 0;
    }
    return count;
}

/// No file of this process grows beyond a size: what a full disk is like.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t size) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{size, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    void (*handler_)(int);
    rlimit before_ = {};
};

} // namespace

TEST(Spill, ContentReadsBackAtAnyTimeWhereverItLies) {
    for (const CompressionType type : {CompressionType::Normal, CompressionType::None, CompressionType::SuperFast}) {
        for (const std::uint64_t memory : {std::uint64_t(0), std::uint64_t(100000), std::uint64_t(1) << 30}) {
            SCOPED_TRACE(testing::Message() << "type " << static_cast<int>(type) << ", memory " << memory);
            const auto content = std::make_shared<Content>(makeArea(memory), type);
            const auto early = readContent(content);
            std::string all;
            std::string earlyRead;
            for (int i = 0; i < 40; ++i) {
                const std::string piece = someText(i % 7 == 0 ? 90000 : 1000, static_cast<unsigned>(i));
                append(*content, piece);
                all += piece;
                earlyRead += readSome(*early, 3000);
                if (i % 10 == 0) {
                    EXPECT_EQ(readRest(*readContent(content), 5000 + static_cast<std::size_t>(i)), all);
                }
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
    const int before = countUnnamedFiles();
    const auto area = makeArea(50000);
    std::vector<std::shared_ptr<Content>> contents;
    std::vector<std::string> texts(300);
    for (std::size_t i = 0; i < texts.size(); ++i)
        contents.push_back(std::make_shared<Content>(area, CompressionType::Normal));
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

TEST(Spill, IsSavedAsItLiesAndReadByOthers) {
    SparingPackage sparing;
    auto& [folder, package] = sparing;
    const std::string text = someText(3000000);
    createPart(package, u"/a.bin", text);
    createPart(package, u"/stored.bin", text, PartInfo(CompressionType::None));
    createPart(package, u"/small.bin", "small");
    write(*createPart(package, u"/open.bin", "")->getOutputStream(), text); // never closed
    package.close(false);
    const RawZipReader raw(readFile(folder / "p.zip"));
    EXPECT_EQ(raw.at("a.bin").method, 8U);
    EXPECT_LT(raw.at("a.bin").payload.size(), text.size() * 3 / 4);
    EXPECT_EQ(raw.at("a.bin").payload, raw.at("open.bin").payload);
    EXPECT_EQ(raw.at("a.bin").crc, raw.at("stored.bin").crc);
    EXPECT_EQ(raw.at("stored.bin").payload, text);
    EXPECT_EQ(raw.at("stored.bin").method, 0U);
    EXPECT_EQ(std::system(("unzip -tqq '" + (folder / "p.zip").string() + "'").c_str()), 0);

    package.open(OpenMode::ReadWrite);
    EXPECT_EQ(readPart(package, u"/a.bin"), text);
    writeAll(*findPart(package, u"/small.bin")->getOutputStream(), text + text);
    writeAll(*findPart(package, u"/a.bin")->getOutputStream(), "short");
    package.close(false);
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(readPart(package, u"/small.bin"), text + text);
    EXPECT_EQ(readPart(package, u"/a.bin"), "short");
    EXPECT_EQ(readPart(package, u"/open.bin"), text);
    EXPECT_EQ(folder.names(), (std::set<std::string>{"p.zip"}));
}

TEST(Spill, ContentThatDoesNotFitIsNeverSavedInPart) {
    SparingPackage sparing;
    auto& [folder, package] = sparing;
    const std::string text = someText(3000000);
    interfaces::IPhysicalPart* part = createPart(package, u"/a.bin", "");
    interfaces::IPhysicalOutputStream& stream = *part->getOutputStream();
    write(stream, text.substr(0, 500));
    write(stream, text.substr(500, 1000));
    {
        const FileSizeLimit limit(500000);
        EXPECT_TRUE(failsWith(Errc::file_too_large, "p.zip: the temporary file in \"", [&] { write(stream, text); }));
    }
    EXPECT_TRUE(failsWith(Errc::file_too_large, [&] { write(stream, "more"); }));
    EXPECT_TRUE(failsWith(Errc::file_too_large, [&] { package.close(false); })) << "a part of it would be saved";
    EXPECT_FALSE(std::filesystem::exists(folder / "p.zip"));
    EXPECT_TRUE(failsWith(Errc::file_too_large, [&] { stream.close(); }));
    writeAll(stream, text);
    package.close(false);
    package.open(OpenMode::ReadOnly);
    EXPECT_EQ(readPart(package, u"/a.bin"), text);
}

TEST(Spill, TheFolderOfTheTemporaryFileIsTheCallersChoice) {
    TemporaryFolder folder;
    ZipOptions options;
    options.memory = 0;
    options.temporaryFolder = folder / "missing";
    ZipPackage package(folder / "p.zip", options);
    package.open(OpenMode::CreateOnly);
    interfaces::IPhysicalPart* part = createPart(package, u"/a.bin", "");
    EXPECT_TRUE(failsWith(Errc::no_such_file_or_directory, "no temporary file can be created in \"", [&] {
        const std::string text = someText(1000000);
        writeAll(*part->getOutputStream(), text);
    }));
    std::filesystem::create_directory(folder / "missing");
    writeAll(*part->getOutputStream(), someText(1000000));
    EXPECT_TRUE(std::filesystem::is_empty(folder / "missing")) << "the file has no name";
    package.close(true);
}

} // namespace opc::storage
