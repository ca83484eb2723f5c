// SPDX-License-Identifier: Apache-2.0
#include "opcraft/OpenPackage.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/core/Strings.hpp>
#include <opc/crypto/CryptoEngine.hpp>
#include <opc/crypto/DigestEngine.hpp>

#include <algorithm>
#include <cstdint>
#include <map>
#include <vector>

namespace opcraft {

namespace {

using opc::storage::ZipItem;
using opc::storage::ZipItemKind;

struct ListOptions : ReadOptions {
    bool names = false;
    std::string digest{};
    std::string sort = "name";
};

using opc::crypto::DigestAlgorithm;

const std::map<std::string, DigestAlgorithm> DIGESTS = {
    {"sha256", DigestAlgorithm::SHA256}, {"sha384", DigestAlgorithm::SHA384}, {"sha512", DigestAlgorithm::SHA512}};

struct PartEntry {
    std::string name;
    std::string contentType;
    std::uint64_t size = 0;
    std::uint64_t compressedSize = 0;
    std::uint64_t relationships = 0;
    std::string digest{}; ///< in hexadecimal; empty unless it is asked for
};

using PartLess = bool (*)(const PartEntry& a, const PartEntry& b);

/// The names stay in their order where these say nothing.
const std::map<std::string, PartLess> ORDERS = {
    {"name", [](const PartEntry&, const PartEntry&) { return false; }},
    {"relationships", [](const PartEntry& a, const PartEntry& b) { return a.relationships > b.relationships; }},
    {"size", [](const PartEntry& a, const PartEntry& b) { return a.size > b.size; }},
    {"type", [](const PartEntry& a, const PartEntry& b) { return a.contentType < b.contentType; }},
};

struct ListReport {
    std::string file;
    const char* kind = nullptr;      // of what the package is in
    std::string digest;              // the name of the algorithm; empty for none
    std::vector<PartEntry> parts;    // in the order that was asked for
    std::vector<ZipItem> otherItems; // in the order of their names
    std::size_t findings = 0;
};

std::map<std::u16string, ZipItem> partItems(const std::vector<ZipItem>& items) {
    std::map<std::u16string, ZipItem> found;
    for (const ZipItem& item : items)
        if (item.kind == ZipItemKind::Part)
            found[opc::toLowerASCIIString(item.partName)] = item;
    return found;
}

PartEntry partEntryOf(const opc::model::Part& part, const std::map<std::u16string, ZipItem>& items) {
    PartEntry entry;
    const std::u16string name = part.getName().toString();
    entry.name = toUtf8(name);
    entry.contentType = toUtf8(part.getContentType().toString());
    entry.relationships = part.getRelationships().size();
    const auto item = items.find(opc::toLowerASCIIString(name));
    if (item != items.end()) {
        entry.size = item->second.size;
        entry.compressedSize = item->second.compressedSize;
    }
    return entry;
}

std::string digestOf(const opc::model::Part& part, DigestAlgorithm algorithm, const std::string& file) {
    opc::crypto::DigestEngine engine = opc::crypto::CryptoEngine::createDigestEngine(algorithm);
    try {
        forEachBlock(
            part, [&](const unsigned char* data, std::size_t size) { engine.update(data, size); });
    } catch (const opc::Exception& e) {
        throw readFailure(e, file, part);
    }
    static constexpr char DIGITS[] = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : engine.finish())
        text.append({DIGITS[byte >> 4U], DIGITS[byte & 15U]});
    return text;
}

ListReport makeListReport(const ListOptions& options, OpenPackage& package) {
    ListReport report;
    report.digest = options.digest;
    report.file = package.getName();
    report.kind = package.getInput().getKind();
    report.findings = package.getFindings().getAll().size();
    if (!options.digest.empty())
        package.getInput().expectReading();
    const std::vector<ZipItem> items = package.getItems();
    const auto partsByName = partItems(items);
    for (const opc::model::Part& part : package.getModel().getParts()) {
        report.parts.push_back(partEntryOf(part, partsByName));
        if (!options.digest.empty())
            report.parts.back().digest = digestOf(part, DIGESTS.at(options.digest), package.getName());
    }
    std::stable_sort(report.parts.begin(), report.parts.end(), ORDERS.at(options.sort));
    for (const ZipItem& item : items)
        if (item.kind == ZipItemKind::Other)
            report.otherItems.push_back(item);
    std::sort(report.otherItems.begin(), report.otherItems.end(),
              [](const ZipItem& a, const ZipItem& b) { return a.name < b.name; });
    return report;
}

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : static_cast<char>(c);
    });
    return text;
}

/// Without a digest, names alone; with one, lines like those of sha256sum.
std::string toNames(const ListReport& report) {
    std::string text;
    for (const PartEntry& entry : report.parts)
        text += (entry.digest.empty() ? "" : entry.digest + "  ") + entry.name + '\n';
    return text;
}

std::string toText(const ListReport& report) {
    using Align = Table::Align;
    std::vector<Table::Column> columns{{"SIZE", Align::Right}, {"RELS", Align::Right}, {"NAME"}, {"TYPE"}};
    if (!report.digest.empty())
        columns.push_back({upperCase(report.digest)});
    Table parts(columns);
    for (const PartEntry& entry : report.parts) {
        std::vector<std::string> cells{std::to_string(entry.size), std::to_string(entry.relationships), entry.name,
                                       entry.contentType};
        if (!report.digest.empty())
            cells.push_back(entry.digest);
        parts.addRow(cells);
    }
    std::string text = report.parts.empty() ? "No parts.\n" : parts.toString();
    if (report.otherItems.empty())
        return text;

    Table others({{"SIZE", Align::Right}, {"NAME"}, {"REASON"}});
    for (const ZipItem& item : report.otherItems)
        others.addRow({std::to_string(item.size), item.name, item.reason});
    return text + "\nOther items of the " + report.kind + ", which are not parts:\n" + others.toString();
}

Json toJson(const ListReport& report) {
    Json json = makeJsonReport("list", report.file, report.findings);
    json["parts"] = toJsonArray(
        report.parts,
        [&](const PartEntry& entry) {
            Json part{{"name", entry.name},
                      {"contentType", entry.contentType},
                      {"size", entry.size},
                      {"compressedSize", entry.compressedSize},
                      {"relationships", entry.relationships}};
            if (!report.digest.empty())
                part[report.digest] = entry.digest;
            return part;
        });
    json["otherItems"] = toJsonArray(report.otherItems, [](const ZipItem& item) {
        return Json{
            {"name", item.name}, {"size", item.size}, {"compressedSize", item.compressedSize}, {"reason", item.reason}};
    });
    return json;
}

ExitCode list(const ListOptions& options, Console& console) {
    OpenPackage package(options);
    const ListReport report = makeListReport(options, package);
    console.write(options.json ? toJsonText(toJson(report)) : options.names ? toNames(report) : toText(report));
    package.getFindings().note(console, options.file);
    return ExitCode::Fine;
}

void addListOptions(CLI::App& command, ListOptions& options) {
    CLI::Option* json = addReadOptions(command, options);
    addToleranceOptions(command, options);
    addFlag(command, "--names", options.names, "The names of the parts alone, one in a line")->excludes(json);
    command.add_option("--digest", options.digest, "With a digest of each part: sha256, sha384 or sha512")
        ->type_name("ALGORITHM")
        ->check(oneOf(DIGESTS));
    command
        .add_option("--sort", options.sort,
                    "In which order: name, relationships (most first), size (largest first) or type")
        ->type_name("ORDER")
        ->capture_default_str()
        ->check(oneOf(ORDERS));
}

} // namespace

void addListCommand(Tool& tool) {
    addCommand<ListOptions>(
        tool, {"list", "List the parts of a package",
               "Parts come in the order of their names, each with its size in bytes, the number of its\n"
               "relationships and its content type. Relationships parts are counted, not listed. Items of the\n"
               "package that are not parts stand apart, but not with --names. With --names and --digest lines are\n"
               "like those of sha256sum.\n\n"
               "Example:\n  opcraft list letter.docx",
               addListOptions, list});
}

} // namespace opcraft
