// SPDX-License-Identifier: Apache-2.0
#include "support/PhysicalAccess.hpp"
#include "support/RawZip.hpp"
#include "support/TemporaryFolder.hpp"

#include <opc/storage/zip/ZipPackage.hpp>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

/// Where sizes, places and counts outgrow the fields of a ZIP file without ZIP64 (APPNOTE §4.3.9.2, §4.4.1.4).
namespace opc::storage {

namespace {

using namespace opc::test;
using interfaces::CompressionType;

constexpr std::uint64_t GIB = std::uint64_t(1) << 30;
constexpr unsigned PLAIN_VERSION = 20;
constexpr unsigned ZIP64_VERSION = 45;

const std::string TYPES = contentTypes("<Default Extension='bin' ContentType='a/b'/>");

ZipOptions wideOptions() {
    ZipOptions options;
    options.limits.itemSize = options.limits.totalSize = 100 * GIB;
    options.limits.ratio = 2000;
    return options;
}

/// Bytes of a file from a place on.
std::string bytesAt(const std::filesystem::path& file, std::uint64_t place, std::size_t size) {
    std::ifstream stream(file, std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(place));
    std::string bytes(size, '\0');
    stream.read(bytes.data(), static_cast<std::streamsize>(size));
    bytes.resize(static_cast<std::size_t>(stream.gcount()));
    return bytes;
}

std::string lastBytes(const std::filesystem::path& file) {
    const std::uint64_t size = std::filesystem::file_size(file);
    const std::uint64_t count = std::min<std::uint64_t>(size, 70000);
    return bytesAt(file, size - count, count);
}

unsigned number(const std::string& bytes, std::size_t place) {
    return static_cast<unsigned char>(bytes.at(place)) | static_cast<unsigned char>(bytes.at(place + 1)) << 8;
}

/// The version needed to extract that the central directory states for an item.
unsigned versionInDirectory(const std::filesystem::path& file, const std::string& name) {
    const std::string end = lastBytes(file);
    for (std::size_t at = end.find("PK\1\2"); at != std::string::npos; at = end.find("PK\1\2", at + 1))
        if (end.compare(at + 46, name.size(), name) == 0)
            return number(end, at + 6);
    throw std::runtime_error("no item " + name);
}

bool isZip64(const std::filesystem::path& file) {
    return lastBytes(file).find("PK\6\6") != std::string::npos;
}

void writePart(ZipPackage& package, const std::u16string& name, std::uint64_t size, CompressionType type) {
    interfaces::IPhysicalOutputStream& stream = *createPart(package, name, "", PartInfo(type))->getOutputStream();
    const std::string zeros(1 << 20, '\0');
    for (; size > 0; size -= std::min<std::uint64_t>(size, zeros.size()))
        write(stream, zeros.substr(0, std::min<std::uint64_t>(size, zeros.size())));
    stream.close();
}

void create(const std::filesystem::path& file, std::uint64_t size, CompressionType type) {
    ZipPackage package(file, wideOptions());
    package.open(OpenMode::CreateOnly);
    writePart(package, u"/large.bin", size, type);
    createPart(package, u"/after.bin", "after");
    writeAll(*package.getContentTypeOutputStream(), TYPES);
    package.close(false);
}

std::uint64_t countBytes(interfaces::IPhysicalInputStream& stream) {
    std::vector<unsigned char> buffer(1 << 20);
    std::uint64_t size = 0;
    stream.open();
    while (const unsigned long count = stream.read(buffer.data(), buffer.size()))
        size += count;
    stream.close();
    return size;
}

/// Writes and reads two large parts: 0 if all of their bytes came back, as an exit status.
int readsLargeParts(const std::filesystem::path& file) try {
    create(file, 2 * GIB, CompressionType::Normal);
    ZipPackage package(file, wideOptions());
    package.open(OpenMode::ReadWrite);
    writePart(package, u"/second.bin", GIB, CompressionType::None);
    const bool complete = countBytes(*findPart(package, u"/large.bin")->getInputStream()) == 2 * GIB &&
                          countBytes(*findPart(package, u"/second.bin")->getInputStream()) == GIB;
    package.close(false);
    return complete ? 0 : 1;
} catch (const std::exception& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 2;
}

bool passesUnzip(const std::filesystem::path& file) {
    return std::system(("unzip -tqq '" + file.string() + "'").c_str()) == 0;
}

} // namespace

/// Some gigabytes of temporary files are not everywhere to be had.
class LargePackage : public testing::Test {
protected:
    void SetUp() override {
        if (std::filesystem::space(folder.path()).available < 20 * GIB)
            GTEST_SKIP() << "less than 20 GiB are free for temporary files";
    }

    TemporaryFolder folder;
};

/// The first of the tests: a child starts with the memory of its parent.
TEST_F(LargePackage, APartOfAnySizeTakesConstantMemory) {
    const std::filesystem::path file = folder / "p.zip";
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        ::_exit(readsLargeParts(file));
    int status = 0;
    rusage usage = {};
    ASSERT_EQ(::wait4(child, &status, 0, &usage), child);
    EXPECT_EQ(status, 0);
    EXPECT_LT(usage.ru_maxrss, 64 * 1024) << "KiB";
    RecordProperty("PeakKiB", static_cast<int>(usage.ru_maxrss));
}

TEST_F(LargePackage, SizesBeyondFourGigabytesNeedZip64AndOthersDoNot) {
    const std::filesystem::path file = folder / "p.zip";
    for (const std::uint64_t size : {4 * GIB - 2, 4 * GIB - 1, 4 * GIB + 5}) {
        SCOPED_TRACE(size);
        create(file, size, CompressionType::SuperFast);
        const bool needed = size >= 0xFFFFFFFF;
        // The content types stream is the first item, the large part the second.
        const std::string start = bytesAt(file, 0, 1000);
        const std::size_t local = start.find("PK\3\4", 4);
        ASSERT_EQ(start.compare(local + 30, 9, "large.bin"), 0);
        EXPECT_EQ(number(start, local + 4), needed ? ZIP64_VERSION : PLAIN_VERSION);
        EXPECT_EQ(versionInDirectory(file, "large.bin"), needed ? ZIP64_VERSION : PLAIN_VERSION);
        EXPECT_EQ(number(start, 4), PLAIN_VERSION) << "of a small item beside it";
        EXPECT_EQ(number(start, local + 28), needed ? 20U : 0U) << "the extra field holds both sizes";
        EXPECT_FALSE(isZip64(file)) << "the file itself is small";
        EXPECT_TRUE(needed || passesUnzip(file));

        ZipPackage package(file, wideOptions());
        package.open(OpenMode::ReadOnly);
        EXPECT_EQ(countBytes(*findPart(package, u"/large.bin")->getInputStream()), size);
        EXPECT_EQ(readPart(package, u"/after.bin"), "after");
        package.close(true);
    }
    EXPECT_TRUE(passesUnzip(file));
}

TEST_F(LargePackage, PlacesBeyondFourGigabytesNeedZip64) {
    const std::filesystem::path file = folder / "p.zip";
    create(file, 4 * GIB + 5, CompressionType::None);
    EXPECT_TRUE(isZip64(file));
    EXPECT_EQ(versionInDirectory(file, "after.bin"), ZIP64_VERSION) << "its place is beyond";
    ZipPackage package(file, wideOptions());
    package.open(OpenMode::ReadWrite);
    EXPECT_EQ(readPart(package, u"/after.bin"), "after");
    writeAll(*findPart(package, u"/after.bin")->getOutputStream(), "changed");
    package.close(false);
    package.open(OpenMode::ReadWrite);
    EXPECT_EQ(readPart(package, u"/after.bin"), "changed");
    EXPECT_TRUE(passesUnzip(file));
    package.deletePart(u"/large.bin");
    package.close(false);
    EXPECT_FALSE(isZip64(file)) << "not needed any more";
    EXPECT_TRUE(passesUnzip(file));
}

TEST_F(LargePackage, MoreThanSixtyFiveThousandItemsNeedZip64) {
    const std::filesystem::path file = folder / "p.zip";
    for (const int parts : {65533, 65534, 65535}) { // and the content types stream
        ZipPackage package(file);
        package.open(OpenMode::CreateOnly);
        writeAll(*package.getContentTypeOutputStream(), TYPES);
        for (int i = 0; i < parts; ++i)
            createPart(package, u"/p" + toString(std::to_string(i)) + u".bin", "");
        package.close(false);
        EXPECT_EQ(isZip64(file), parts + 1 > 65534) << parts;
        EXPECT_EQ(versionInDirectory(file, "p65530.bin"), PLAIN_VERSION);
        package.open(OpenMode::ReadOnly);
        EXPECT_EQ(package.getParts().size(), static_cast<std::size_t>(parts));
        package.close(true);
    }
    EXPECT_TRUE(passesUnzip(file));
}

/// Some readers take the count for a sign of ZIP64, and search for its records.
TEST_F(LargePackage, SixtyFiveThousandItemsWithoutZip64AreAmbiguous) {
    std::vector<RawItem> items{{"[Content_Types].xml", TYPES}};
    for (int i = 1; i < 65535; ++i)
        items.push_back({std::to_string(i), {}, 0});
    const std::string file = rawZip(items);
    Bytes bytes(file.begin(), file.end());
    const auto open = [&bytes](bool consistent) {
        ZipOptions options;
        options.consistent = consistent;
        ZipPackage(bytes, options).open(OpenMode::ReadOnly);
    };
    EXPECT_NO_THROW(open(false));
    EXPECT_TRUE(failsWith(Errc::bad_message, "refers to one of ZIP64", [&] { open(true); }));
}

} // namespace opc::storage
