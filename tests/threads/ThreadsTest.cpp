// SPDX-License-Identifier: Apache-2.0
#include "signatures/Fixture.hpp"
#include "support/UnpackedPackage.hpp"

#include "storage/Threads.hpp"

#include <opc/core/OutputStream.hpp>
#include <opc/lint/Lint.hpp>
#include <opc/lint/Repair.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/storage/Extraction.hpp>
#include <opc/storage/directory/DirectoryPackage.hpp>

#include <gmock/gmock.h>

#include <atomic>
#include <barrier>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

/// What the thread sanitizer is not to report: the C library guards this one by a lock that the sanitizer does not see.
extern "C" [[gnu::visibility("default")]] const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
    return "race:tzset_internal\n";
}

namespace opc::model::test {

namespace {

using opc::test::RawItem;
using storage::ZipOptions;
using testing::HasSubstr;

constexpr std::size_t SIZE = 360000; ///< of each part, so that all are worth several threads

/// With twelve parts, every other one stored.
std::vector<RawItem> makeItems() {
    const std::string types = opc::test::contentTypes("<Default Extension='x' ContentType='a/x'/>");
    std::vector<RawItem> items = {{"[Content_Types].xml", types}};
    for (int i = 10; i < 22; ++i) {
        items.push_back({"part" + std::to_string(i) + ".x", "", i % 2 == 0 ? Z_DEFLATED : 0});
        for (std::string& text = items.back().content; text.size() < SIZE;)
            text += std::to_string(text.size()) + " is the size of part " + std::to_string(i) + '\n';
    }
    return items;
}

/// All that a verification tells, in order.
std::string examine(interfaces::IPhysicalPackage& physical) {
    std::string text;
    const std::string thrown = outcomeOf([&] {
        Package package(physical);
        const DigitalSignatureManager manager(package);
        package.open(OpenMode::ReadOnly);
        for (const SignatureReport& each : manager.examineAllSignatures(noOptions(), TrustStore()))
            for (const ReferenceReport& reference : each.references)
                text += detail::toUTF8String(reference.target + reference.foundDigest) + reference.problem + '\n';
    });
    return text + thrown;
}

std::string examine(Bytes zip, const ZipOptions& options) {
    storage::ZipPackage physical(zip, options);
    return examine(physical);
}

/// How signing ends, and the package.
std::string signWith(Bytes zip, const ZipOptions& options) {
    const std::string thrown = outcomeOf([&] {
        Opened opened(zip, OpenMode::ReadWrite, options);
        sign(opened);
        opened.package.close();
    });
    return thrown + opc::test::toText(zip);
}

void expectTheSame(const std::vector<RawItem>& items, ZipOptions options, const Fields& said) {
    const Bytes zip = opc::test::makeZip(items);
    const std::string report = examine(zip, options), written = signWith(zip, options);
    for (const std::string& text : said)
        EXPECT_THAT(report, HasSubstr(text));
    for (const unsigned threads : {0U, 5U}) {
        options.threads = threads;
        EXPECT_EQ(examine(zip, options), report) << threads << " threads";
        EXPECT_TRUE(signWith(zip, options) == written) << threads << " threads";
    }
}

struct NoSink final : storage::ExtractionSink {
    void extracted(const storage::ZipItem& /*item*/) override {}
    void leftOut(const storage::ZipItem& /*item*/, const Exception& error) override { throw error; }
};

/// A bit of everything, on packages of its own. XML that is not plain needs the parser that is set up at its first use.
std::string doMixedWork(const opc::test::TemporaryFolder& folder, const std::string& name) {
    std::string text;
    Bytes zip =
        opc::test::makeZip({{"[Content_Types].xml",
                             opc::test::contentTypes("<!-- not plain --><Default Extension='x' ContentType='a/x'/>")},
                            {"a b.x", "an item that is no part"},
                            {"a.x", "part"},
                            {"_rels/a.x.rels", "<!-- not plain --><Relationships/>"}});
    text += outcomeOf([&] {
        storage::ZipPackage physical(zip);
        for (const Finding& each : lint::examine(physical))
            text += each.message + '\n';
        text += std::to_string(lint::applyRepair(physical, {.only = {RuleId::XmlValid}}).steps.size()) + '\n';
    });
    const std::filesystem::path file = folder / (name + ".zip");
    text += outcomeOf([&] {
        storage::ZipPackage physical(file);
        Package package(physical);
        package.open(OpenMode::CreateOnly);
        for (const char16_t* part : {u"/word/document.xml", u"/word/other.xml"}) {
            OutputStream& stream = *package.createPart(part, u"application/xml", StandardPartInfo()).getOutputStream();
            stream.write(reinterpret_cast<const unsigned char*>("<a/>"), 4);
            stream.close();
        }
        package.createInternalRelationship(u"urn:main", u"/word/document.xml");
        CoreProperties properties;
        properties.setTitle(u"T");
        PackageHelper::createOrUpdateCoreProperties(package, properties);
        package.close();
    });
    text += outcomeOf([&] {
        storage::ZipPackage physical(file, {.consistent = true});
        Package package(physical);
        DigitalSignatureManager manager(package);
        package.open(OpenMode::ReadWrite);
        manager.signPackage(fixedKey(), params1024);
        package.close();
        NoSink sink;
        physical.open(OpenMode::ReadOnly);
        storage::extract(physical, folder / name, {}, sink);
        physical.close(true);
    });
    storage::ZipPackage physical(file);
    text += examine(physical);
    storage::DirectoryPackage unpacked(folder / name);
    return text + examine(unpacked);
}

/// The first test, since no other one may have set up what is set up once.
TEST(Threads, UseDifferentPackagesAtTheSameTime) {
    constexpr int THREADS = 8;
    const opc::test::TemporaryFolder folder;
    std::barrier start(THREADS);
    std::map<std::string, int> outcomes;
    std::mutex mutex;
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < THREADS; ++thread)
            threads.emplace_back([&, thread] {
                start.arrive_and_wait();
                for (int round = 0; round < 3; ++round) {
                    const std::string outcome = doMixedWork(folder, std::to_string(10 * thread + round));
                    const std::scoped_lock lock(mutex);
                    ++outcomes[outcome];
                }
            });
    }
    EXPECT_EQ(outcomes, (std::map<std::string, int>{{doMixedWork(folder, "alone"), 3 * THREADS}}));
    EXPECT_THAT(outcomes.begin()->first, HasSubstr("/word/other.xml"));
}

TEST(Threads, ComeToWhatOneComesTo) {
    std::vector<RawItem> items = makeItems();
    for (const auto& [name, content] : Items(changed(opc::test::makeZip(items), sign)).byName())
        if (name[0] == '[')
            items[0].content = content;
        else if (!name.starts_with("part"))
            items.push_back({name, content});
    ZipOptions consistent;
    consistent.consistent = true;
    expectTheSame(items, consistent, {"part10.x", "part21.x"});
    for (const std::uint64_t size : {SIZE, 3 * SIZE, 12 * SIZE})
        expectTheSame(items, {.limits = {.totalSize = size}}, {"(limit total-size)"});
    items[4].content += std::string(100, 'x');
    expectTheSame(items, {.limits = {.itemSize = SIZE + 90}}, {"(limit item-size)", "part21.x"});
    items[5].behind = items[7].behind = "x";
    expectTheSame(items, consistent, {"part14.x\": the compressed content ends before the item does"});
    items[1].crc = items[2].crc = items[9].crc = 1;
    items[3].size = 99;
    items[6].method = 97;
    items[8].flags = 1;
    items[10].descriptor = true;
    expectTheSame(items, {},
                  {"its checksum is wrong", "its length is not", "is not supported", "is encrypted", "part19.x",
                   "the digests differ"});
    expectTheSame(items, {.limits = {.totalSize = 4 * SIZE}}, {"its checksum is wrong", "(limit total-size)"});
}

TEST(Threads, ReadFoldersAsOneDoes) {
    const opc::test::TemporaryFolder folder;
    Bytes zip = changed(opc::test::makeZip(makeItems()), sign);
    storage::ZipPackage package(zip);
    package.open(OpenMode::ReadOnly);
    opc::test::unpack(package, folder / "unpacked");
    for (const char* change : {"", "part14.x"}) {
        if (*change != '\0')
            opc::test::writeFile(folder.path() / "unpacked" / change, Bytes(SIZE, 'x'));
        for (const std::uint64_t size : {100 * SIZE, 3 * SIZE}) {
            std::set<std::string> reports;
            for (const unsigned threads : {1U, 0U, 5U}) {
                storage::DirectoryPackage physical(folder / "unpacked",
                                                   {.limits = {.totalSize = size}, .threads = threads});
                reports.insert(examine(physical));
            }
            ASSERT_EQ(reports.size(), 1U);
            EXPECT_EQ(*reports.begin() == examine(zip, {}), size > 3 * SIZE && *change == '\0');
            EXPECT_THAT(*reports.begin(), HasSubstr(size == 3 * SIZE  ? "(limit total-size)"
                                                    : *change == '\0' ? "part21.x"
                                                                      : "the digests differ"));
        }
    }
}

TEST(Threads, CountWhatIsReadOnceAndOnceMoreToCheckIt) {
    const Bytes zip = changed(opc::test::makeZip(makeItems()), sign);
    for (const bool consistent : {false, true})
        for (const unsigned threads : {1U, 5U}) {
            std::atomic<std::uint64_t> read = 0;
            ZipOptions options;
            options.threads = threads;
            options.consistent = consistent;
            options.bytesRead = &read;
            examine(zip, options);
            EXPECT_NEAR(static_cast<double>(read), 12.0 * SIZE * (consistent ? 2 : 1), SIZE) << threads << " threads";
        }
}

TEST(Threads, ReadDifferentPartsAtTheSameTime) {
    std::vector<RawItem> items = makeItems();
    items.erase(items.begin() + 3, items.end());
    for (const std::size_t i : {1U, 2U})
        items[i].content.resize(storage::PARALLEL_SIZE / 2, 'x');
    Bytes zip = opc::test::makeZip(items);
    ZipOptions two;
    two.threads = 2;
    Opened opened(zip, OpenMode::ReadWrite, two), alone(zip, OpenMode::ReadOnly);
    const auto parts = opened.physical.getParts(), others = alone.physical.getParts();
    std::mutex mutex;
    std::condition_variable change;
    std::map<std::thread::id, std::string> read;
    opened.physical.readParts(parts, [&](std::size_t index, const unsigned char* data, std::size_t size) {
        std::unique_lock lock(mutex);
        read[std::this_thread::get_id()].append(data, data + size) += size == 0 ? std::to_string(index) : "";
        change.notify_all();
        change.wait_for(lock, std::chrono::seconds(2), [&] { return read.size() == 2; });
    });
    std::map<std::string, int> contents;
    for (const auto& [thread, content] : read)
        ++contents[content];
    EXPECT_TRUE(contents == (std::map<std::string, int>{{items[1].content + '0', 1}, {items[2].content + '1', 1}}));

    const auto fail = [](std::size_t, const unsigned char*, std::size_t) { ADD_FAILURE(); };
    EXPECT_FALSE(alone.physical.isParallel());
    alone.physical.readParts(others, fail);
    opened.physical.readParts({parts[0]}, fail); // too little
    opened.physical.readParts(others, fail);     // of another package
    opc::test::writePart(opened.physical, parts[0]->getName(), items[1].content);
    opened.physical.readParts(parts, fail); // written anew
    EXPECT_FALSE(opened.physical.countAsRead(*parts[0]));
    EXPECT_TRUE(opened.physical.countAsRead(*parts[1]));
}

} // namespace

} // namespace opc::model::test
