// SPDX-License-Identifier: Apache-2.0
#include "cli/Files.hpp"

#include "support/RawZip.hpp"
#include "support/Table.hpp"

#include <boost/algorithm/string.hpp>

#include <fnmatch.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <stdexcept>

namespace opc::test {

namespace {

namespace fs = std::filesystem;

const std::pair<const char*, const char*> longNames[] = {
    {"{package}", "http://schemas.openxmlformats.org/package/2006/relationships"},
    {"{office}", "http://schemas.openxmlformats.org/officeDocument/2006/relationships"},
    {"{word}", "application/vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml"},
    {"{signature}", "application/vnd.openxmlformats-package.digital-signature"},
    {"{types}", "http://schemas.openxmlformats.org/package/2006/content-types"},
    {"{core}", "xmlns:cp='http://schemas.openxmlformats.org/package/2006/metadata/core-properties' "
               "xmlns:dc='http://purl.org/dc/elements/1.1/' xmlns:dcterms='http://purl.org/dc/terms/' "
               "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'"},
    {"{date}", "xsi:type='dcterms:W3CDTF'"},
};

/// A line of files.txt that is not indented, and the indented lines that follow.
struct Block {
    std::string keyword;
    std::string rest;
    std::vector<std::string> lines{};
};

using Blocks = std::vector<Block>;

/// The first word of a text, which is taken off.
std::string takeWord(std::string& text) {
    const std::string word = text.substr(0, text.find(' '));
    text.erase(0, word.size() + 1);
    return word;
}

/// The blocks that describe each file.
const std::map<std::string, Blocks>& descriptions() {
    static const std::map<std::string, Blocks> all = [] {
        std::map<std::string, Blocks> files;
        Blocks* file = nullptr;
        for (std::string line : linesOf(readData("files.txt"))) {
            if (line.empty() || line.front() == '#')
                continue;
            if (line.compare(0, 2, "  ") == 0) {
                file->back().lines.push_back(line.substr(2));
                continue;
            }
            const std::string keyword = takeWord(line);
            if (keyword == "zip" || keyword == "file" || keyword == "bytes" || keyword == "run")
                file = &files[takeWord(line)];
            file->push_back({keyword, line});
        }
        return files;
    }();
    return all;
}

RawItem contentTypes(std::string entries) {
    std::string xml = "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\"><Default "
                      "Extension=\"rels\" ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>";
    while (!entries.empty()) {
        const std::string entry = takeWord(entries);
        const std::string name = entry.substr(0, entry.find('='));
        xml += (name.front() == '/' ? "<Override PartName=\"" : "<Default Extension=\"") + name + "\" ContentType=\"" +
               entry.substr(name.size() + 1) + "\"/>";
    }
    return {"[Content_Types].xml", xml + "</Types>"};
}

RawItem relationships(const Block& block) {
    std::string xml = "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">";
    for (std::string line : block.lines) {
        xml += "<Relationship Id=\"" + takeWord(line);
        xml += "\" Type=\"" + takeWord(line);
        if (boost::starts_with(line, "external "))
            xml += "\" TargetMode=\"External";
        xml += "\" Target=\"" + line.substr(boost::starts_with(line, "external ") ? 9 : 0) + "\"/>";
    }
    return {block.rest, xml + "</Relationships>"};
}

/// `item NAME ; FIELD=NUMBER…`, and its content.
RawItem plainItem(const Block& block) {
    const std::size_t end = block.rest.find(" ; ");
    RawItem item{unescaped(block.rest.substr(0, end)), unescaped(boost::join(block.lines, "\n"))};
    std::istringstream fields(end == std::string::npos ? "" : block.rest.substr(end + 3));
    for (std::string field; fields >> field;) {
        const std::string value = field.substr(field.find('=') + 1);
        if (boost::starts_with(field, "method="))
            item.method = std::stoi(value);
        else if (boost::starts_with(field, "flags="))
            item.flags = static_cast<unsigned>(std::stoul(value));
        else if (boost::starts_with(field, "crc="))
            item.crc = static_cast<std::uint32_t>(std::stoul(value));
        else
            item.content = boost::join(std::vector<std::string>(std::stoul(value), item.content), "");
    }
    return item;
}

RawItem itemOf(const Block& block) {
    if (block.keyword == "types")
        return contentTypes(block.rest);
    return block.keyword == "rels" ? relationships(block) : plainItem(block);
}

/// `zip NAME [BASE]`: the items of the base, with those of the file in their places or behind them.
std::vector<RawItem> itemsOf(const std::string& name) {
    const Blocks& blocks = descriptions().at(name);
    std::vector<RawItem> items = blocks[0].rest.empty() ? std::vector<RawItem>() : itemsOf(blocks[0].rest);
    for (auto block = blocks.begin() + 1; block != blocks.end(); ++block) {
        const RawItem item = itemOf(*block);
        const auto found =
            std::find_if(items.begin(), items.end(), [&](const RawItem& each) { return each.name == item.name; });
        if (found == items.end())
            items.push_back(item);
        else
            *found = item;
    }
    return items;
}

/// `bytes NAME SIZE`: zeros, and at some offsets a text.
std::string sparseBytes(const Block& block) {
    std::string bytes(std::stoul(block.rest), '\0');
    for (std::string line : block.lines) {
        const std::size_t offset = std::stoul(takeWord(line));
        const std::string text = unescaped(line);
        bytes.replace(offset, text.size(), text);
    }
    return bytes;
}

} // namespace

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::string readData(const fs::path& name) {
    std::string text = toText(readFile(OPCRAFT_TESTS "/cli" / name));
    for (const auto& [brief, full] : longNames)
        boost::replace_all(text, brief, full);
    return text;
}

namespace {

bool isLike(std::string pattern, const std::string& line) {
    for (const char* special : {"\\", "*", "?", "["})
        boost::replace_all(pattern, special, "\\" + std::string(special));
    boost::replace_all(pattern, "…", "*");
    return ::fnmatch(pattern.c_str(), line.c_str(), 0) == 0;
}

using Lines = std::vector<std::string>;

bool matchesFrom(const Lines& patterns, std::size_t pattern, const Lines& lines, std::size_t line) {
    for (; pattern < patterns.size(); ++pattern, ++line) {
        if (patterns[pattern] == "…") {
            for (; line < lines.size() && !matchesFrom(patterns, pattern + 1, lines, line); ++line)
                continue;
            return line < lines.size() || pattern + 1 == patterns.size();
        }
        if (line == lines.size() || !isLike(patterns[pattern], lines[line]))
            return false;
    }
    return line == lines.size();
}

} // namespace

bool matches(const std::string& expected, const std::string& printed) {
    return matchesFrom(linesOf(expected), 0, linesOf(printed), 0);
}

void Files::make(const std::string& text) {
    for (const auto& [name, blocks] : descriptions())
        if (text.find(name) != std::string::npos && made_.insert(name).second)
            makeFile(name);
}

void Files::makeFile(const std::string& name) {
    const Block& first = descriptions().at(name).front();
    if (first.keyword == "zip")
        return writeFile(folder_ / name, makeZip(itemsOf(name)));
    if (first.keyword == "file")
        return writeFile(folder_ / name, toBytes(unescaped(boost::join(first.lines, "\n"))));
    if (first.keyword == "bytes")
        return writeFile(folder_ / name, toBytes(sparseBytes(first)));
    make(first.rest);
    const ProcessResult result = shell(first.rest);
    if (result.exitCode != 0)
        throw std::runtime_error(name + ": " + result.err);
}

ProcessResult Files::shell(const std::string& command, ProcessOptions options) const {
    options.folder = folder_;
    const std::string path = fs::path(OPCRAFT_TOOL).parent_path().string() + ":" OPCRAFT_TESTS "/cli";
    return runProcess("bash", {"-c", "PATH=" + path + ":$PATH; set -o pipefail; " + command}, options);
}

} // namespace opc::test
