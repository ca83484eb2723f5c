// SPDX-License-Identifier: Apache-2.0
#include "storage/Zips.hpp"
#include "support/FoundFindings.hpp"
#include "support/Throws.hpp"

#include <opc/storage/Extraction.hpp>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <map>

namespace opc::test {
namespace {

namespace fs = std::filesystem;

using Contents = std::map<std::string, std::string>;

/// The regular files below a folder.
Contents filesBelow(const fs::path& folder) {
    Contents files;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.symlink_status().type() == fs::file_type::regular)
            files[entry.path().lexically_relative(folder).string()] = toText(readFile(entry.path()));
    return files;
}

struct Outcome final : ExtractionSink {
    void extracted(const ZipItem& item) override { done.push_back(item.name); }
    void leftOut(const ZipItem& item, const Exception& error) override {
        left += (left.empty() ? "" : " ") + item.name;
        messages.push_back(error.what());
    }
    std::vector<std::string> done;
    std::string left;
    std::vector<std::string> messages;
};

Outcome extractAll(Bytes zip, const fs::path& folder, ExtractionOptions options = {true}, unsigned threads = 1) {
    ZipOptions how;
    how.threads = threads;
    ZipPackage package(zip, how);
    FoundFindings findings;
    package.openTolerantly(OpenMode::ReadOnly, findings);
    Outcome outcome;
    extract(package, folder, options, outcome);
    return outcome;
}

class Extraction : public testing::Test {
protected:
    Extraction() {
        put(folder / "outside/kept", "kept");
        put(folder / "other", "other");
    }

    static void put(const fs::path& file, const std::string& text) {
        fs::create_directories(file.parent_path());
        writeFile(file, toBytes(text));
    }

    /// Makes what a row says: "link d/a TARGET".
    void prepare(const std::string& what) const {
        std::vector<std::string> words;
        boost::split(words, what, boost::is_any_of(" "));
        const fs::path path = out / words[1];
        fs::create_directories(path.parent_path());
        if (words[0] == "link")
            fs::create_symlink(words[2], path);
        else if (words[0] == "folder")
            fs::create_directory(path);
        else if (words[0] == "pipe")
            ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
        else if (words[0] == "hard")
            fs::create_hard_link(folder / "outside/kept", path);
        else
            put(path, "old");
    }

    TemporaryFolder folder;
    const fs::path out = folder / "out";
};

/// The items of a row, each with its name as content, unless "=" stands before another one.
std::vector<RawItem> itemsOf(const std::string& field) {
    std::vector<std::string> names;
    boost::split(names, field, boost::is_any_of("|"));
    std::vector<RawItem> items;
    for (std::string name : names) {
        boost::replace_all(name, "{255}", std::string(255, 'L'));
        boost::replace_all(name, "{256}", std::string(256, 'L'));
        boost::replace_all(name, "{deep}", boost::algorithm::replace_all_copy(std::string(400, '/'), "/", "r/") + 'x');
        boost::replace_all(name, "{long}", std::string(4096, 'x'));
        name = unescaped(name);
        const std::size_t equals = name.find('=');
        items.push_back({name.substr(0, equals), name.ends_with('/') ? "" : name.substr(equals + 1)});
    }
    return items;
}

TEST_F(Extraction, WritesNothingOutsideOfTheFolderAndOverNothingButFiles) {
    for (const auto& row : readTable("storage/extraction.tsv")) {
        SCOPED_TRACE(testing::PrintToString(row));
        fs::remove_all(out);
        if (row[2] != "-")
            prepare(row[2]);
        std::vector<RawItem> items = itemsOf(row[3]);
        items.push_back({"ok.xml", "ok.xml"});
        const Outcome outcome = extractAll(zipWith(items), out, {true, row[2] != "-"});

        std::string left = row[0] == "-" ? "" : row[0];
        boost::replace_all(left, "{256}", std::string(256, 'L'));
        boost::replace_all(left, "{long}", std::string(4096, 'x'));
        EXPECT_EQ(outcome.left, left);
        for (const std::string& message : outcome.messages)
            EXPECT_THAT(message, HasSubstr(row[1]));
        Contents files = filesBelow(out);
        EXPECT_EQ(files.erase("[Content_Types].xml"), 1U);
        for (const RawItem& item : items) {
            if (std::ranges::count(outcome.done, item.name) == 0)
                continue;
            if (item.name.ends_with('/')) {
                EXPECT_TRUE(fs::is_directory(out / item.name));
            } else {
                EXPECT_EQ(files[item.name], item.content);
                files.erase(item.name);
            }
        }
        for (const auto& [name, content] : files)
            EXPECT_EQ(content, "old") << name;
        files = filesBelow(folder.path());
        std::erase_if(files, [](const auto& file) { return file.first.starts_with("out/"); });
        EXPECT_EQ(files, (Contents{{"outside/kept", "kept"}, {"other", "other"}}));
    }
}

TEST_F(Extraction, IsTheSameOnSeveralThreadsAndWithDamage) {
    std::vector<RawItem> items;
    for (int i = 0; i < 40; ++i)
        items.push_back(
            {"d" + std::to_string(i % 7) + "/" + std::to_string(i) + ".xml", std::string(200'000, char(i))});
    items.push_back({"empty.xml"});
    items[3].crc = 1;
    items[17].size = 199'999;
    const Outcome one = extractAll(zipWith(items), folder / "one");
    const Outcome several = extractAll(zipWith(items), folder / "several", {}, 4);
    EXPECT_EQ(one.left, items[3].name + " " + items[17].name);
    EXPECT_EQ(several.left, one.left);
    EXPECT_EQ(several.messages, one.messages);
    EXPECT_EQ(several.done, one.done);
    const Contents files = filesBelow(folder / "several");
    EXPECT_TRUE(filesBelow(folder / "one") == files);
    EXPECT_EQ(files.size(), items.size() - 1) << "also the content types";
}

TEST_F(Extraction, ReplacesAFileOnlyWhenTheNewOneIsComplete) {
    put(out / "a.xml", "old");
    put(out / "b.xml", "old");
    ASSERT_EQ(::chmod((out / "b.xml").c_str(), 04601), 0);
    Bytes zip = zipWith({{.name = "a.xml", .content = "new", .crc = 1}, {"b.xml", "new"}});
    const std::string message = out.string() + ": the folder is not empty";
    EXPECT_TRUE(throws<Exception>(message, [&] { extractAll(zip, out); }));
    EXPECT_EQ(filesBelow(out), (Contents{{"a.xml", "old"}, {"b.xml", "old"}}));
    EXPECT_EQ(extractAll(zip, out, {true, true}).left, "a.xml");
    EXPECT_EQ(filesBelow(out), (Contents{{"[Content_Types].xml", TYPES}, {"a.xml", "old"}, {"b.xml", "new"}}));
    EXPECT_EQ(fs::status(out / "b.xml").permissions(), fs::perms(0601)) << "but for whose rights it runs with";
}

TEST_F(Extraction, StopsWhenAFileCannotBeWrittenAndLeavesNoHalfOne) {
    const auto inherited = std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
    rlimit small = old;
    small.rlim_cur = 1'000'000;
    for (const unsigned threads : {1U, 2U}) {
        SCOPED_TRACE(threads);
        fs::remove_all(out);
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
        const Bytes zip = zipWith({{"a.xml", "a"}, {"b.xml", std::string(5'000'000, 'b')}});
        const std::string message = out.string() + ": \"b.xml\": cannot be written: ";
        EXPECT_TRUE(throwsSaying<Exception>(message, [&] { extractAll(zip, out, {}, threads); }));
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &old), 0);
        EXPECT_EQ(filesBelow(out), (Contents{{"[Content_Types].xml", TYPES}, {"a.xml", "a"}}));
    }
    std::signal(SIGXFSZ, inherited);
}

TEST_F(Extraction, OfAFewNamesMakesNotMoreFoldersThanAllowed) {
    ExtractionOptions options;
    options.maximumFolders = 4;
    extractAll(zipWith({{"a/b/c/d/e.xml"}, {"a/b/f.xml"}}), out, options);
    EXPECT_TRUE(throwsSaying<Exception>("(limit items)", [&] {
        extractAll(zipWith({{"a/b/c/d/e.xml"}, {"b/f.xml"}}), folder / "more", options);
    }));
}

} // namespace
} // namespace opc::test
