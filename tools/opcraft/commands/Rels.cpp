// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Names.hpp"
#include "opcraft/OpenPackage.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace opcraft {

namespace {

struct RelsOptions : ReadOptions {
    bool all = false;
    bool tree = false;
    std::string type{};
    std::string to{};
};

/// Whether a type is the one that was asked for, as a whole or by what follows its last slash.
bool isOfType(const std::string& type, const std::string& asked) {
    return asked.empty() || type == asked || type.ends_with('/' + asked);
}

/// A relationships part of which nothing can be read.
struct UnreadRelationships {
    std::string source;
    std::string part;
    std::string reason;
};

struct RelsReport {
    std::string file;
    bool withSource = false;
    std::vector<RelationshipEntry> relationships{};
    std::vector<RawEntry> raw{};
    std::vector<UnreadRelationships> unread{};
    std::size_t findings = 0;
};

RelsReport makeReport(const RelsOptions& options, OpenPackage& package) {
    RelsReport report{options.file, options.all || !options.to.empty()};
    report.findings = package.getFindings().getAll().size();
    const std::set<std::u16string> partKeys = package.getPartKeys();
    const auto add = [&](const opc::model::RelationshipSource& source) {
        const std::vector<RelationshipEntry> entries = entriesOf(source, partKeys);
        report.relationships.insert(report.relationships.end(), entries.begin(), entries.end());
        const std::vector<RawEntry> raw = rawEntriesOf(source);
        report.raw.insert(report.raw.end(), raw.begin(), raw.end());
        const std::string part = toUtf8(source.getRelationshipsPartName().toString());
        if (source.hasUnreadableRelationships())
            report.unread.push_back(
                {toUtf8(source.getSourceURI().toString()), part, package.getFindings().reasonFor(part)});
    };
    if (!options.to.empty()) {
        const opc::model::PartName target = toPartNameOfPart(options.to);
        report.relationships = entriesLeadingTo(target, package);
        report.raw = rawEntriesLeadingTo(target, package);
    } else if (options.all) {
        package.forEachSource(add);
    } else {
        package.withSource(toPartName(options.part), add);
    }
    std::erase_if(
        report.relationships, [&](const RelationshipEntry& entry) { return !isOfType(entry.type, options.type); });
    std::erase_if(report.raw, [&](const RawEntry& entry) { return !isOfType(toUtf8(entry.raw.type), options.type); });
    return report;
}

/// Relationships with what they lead to below them, each part with its own relationships once.
class Tree {
public:
    explicit Tree(OpenPackage& package) : package_(package), partKeys_(package.getPartKeys()) {}

    std::string draw(const opc::model::PartName& root) {
        std::string text = escaped(toUtf8(root.toString())) + '\n';
        push(root, 1);
        while (!open_.empty()) {
            const Node node = std::move(open_.back());
            open_.pop_back();
            text += std::string(2 * std::min(node.depth, MAX_INDENT), ' ') + escaped(node.text);
            if (!node.target.empty() && !push(opc::model::PartName(node.target), node.depth + 1))
                text += " (see above)";
            text += '\n';
        }
        return text;
    }

private:
    struct Node {
        std::size_t depth;
        std::string text;
        std::u16string target; ///< a part with relationships; empty for none
    };
    static constexpr std::size_t MAX_INDENT = 40;

    /// @return false when the relationships of a part that has any are drawn already.
    bool push(const opc::model::PartName& source, std::size_t depth) {
        std::vector<Node> nodes;
        package_.withSource(source, [&](const opc::model::RelationshipSource& each) {
            for (const RelationshipEntry& entry : entriesOf(each, partKeys_))
                nodes.push_back(nodeOf(entry, each, depth));
        });
        if (nodes.empty())
            return true;
        if (!drawn_.insert(source).second)
            return false;
        open_.insert(open_.end(), std::make_move_iterator(nodes.rbegin()), std::make_move_iterator(nodes.rend()));
        return true;
    }

    Node nodeOf(const RelationshipEntry& entry, const opc::model::RelationshipSource& source, std::size_t depth) {
        const std::string type = entry.type.substr(entry.type.rfind('/') + 1);
        Node node{depth, entry.id + ' ' + type + ": " + entry.resolved.value_or(entry.target), {}};
        if (entry.isExternal)
            node.text += " (external)";
        else if (!entry.exists)
            node.text += " (missing)";
        else if (const auto part = findTarget(package_, source.getRelationshipByID(toUtf16(entry.id))))
            node.target = part->getName().toString();
        return node;
    }

    OpenPackage& package_;
    std::set<std::u16string> partKeys_;
    std::set<opc::model::PartName> drawn_{};
    std::vector<Node> open_{};
};

std::string toText(const RelsReport& report) {
    std::string text =
        report.relationships.empty() ? "No relationships.\n" : toTable(report.relationships, report.withSource);
    if (!report.raw.empty())
        text += "\nEntries that are not relationships, since something in them is wrong:\n" +
                toTable(report.raw, report.withSource);
    for (const UnreadRelationships& each : report.unread)
        text += '\n' + escaped(each.part + " cannot be read: " + each.reason) + '\n';
    return text;
}

Json toJson(const RelsReport& report) {
    Json json = makeJsonReport("rels", report.file, report.findings);
    json["relationships"] = toJsonArray(
        report.relationships, [](const RelationshipEntry& entry) { return toJson(entry); });
    json["rawRelationships"] = toJsonArray(
        report.raw, [](const RawEntry& entry) { return toJson(entry); });
    json["unread"] = toJsonArray(report.unread, [](const UnreadRelationships& each) {
        return Json{{"source", each.source}, {"part", each.part}, {"reason", each.reason}};
    });
    return json;
}

ExitCode rels(const RelsOptions& options, Console& console) {
    toPartName(options.part); // for its messages
    if (!options.to.empty())
        toPartNameOfPart(options.to);
    OpenPackage package(options);
    if (options.tree) {
        console.write(Tree(package).draw(toPartName(options.part)));
        package.getFindings().note(console, options.file);
        return ExitCode::Fine;
    }
    const RelsReport report = makeReport(options, package);
    console.write(options.json ? toJsonText(toJson(report)) : toText(report));
    package.getFindings().note(console, options.file);
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, RelsOptions& options) {
    CLI::Option* json = addReadOptions(command, options);
    addToleranceOptions(command, options);
    options.part = "/";
    options.hidesPackage = true;
    CLI::Option* part =
        command.add_option("PART", options.part, "The part; without it, or with /, the package")->check(notEmpty());
    CLI::Option* all = addFlag(command, "--all", options.all, "Those of the package and of all parts")->excludes(part);
    CLI::Option* type =
        command.add_option("--type", options.type, "Only those of this type, in full or its last word, as in image")
            ->type_name("TYPE")
            ->check(notEmpty());
    CLI::Option* to =
        command.add_option("--to", options.to, "Those of the package and of all parts that lead to a part")
            ->type_name("PART")
            ->check(notEmpty())
            ->excludes(part)
            ->excludes(all);
    addFlag(command, "--tree", options.tree, "What the package or part leads to, what that leads to, and so on")
        ->excludes(json)
        ->excludes(all)
        ->excludes(type)
        ->excludes(to);
}

} // namespace

void addRelsCommand(Tool& tool) {
    addCommand<RelsOptions>(
        tool, {"rels", "List the relationships of the package or of a part",
               "Each comes with its target as written and as resolved against its source; an internal target that\n"
               "is not in the package is marked \"(missing)\". Entries in which something is wrong come after them,\n"
               "each with what is wrong and with its XML; 'opcraft unrelate --tolerant' removes one. With --to, a\n"
               "relationship leads to the part when some program may find the part by it, however it is written;\n"
               "the part need not exist. With --tree, each part is followed once.\n\n"
               "Examples:\n  opcraft rels letter.docx\n  opcraft rels letter.docx /word/document.xml\n"
               "  opcraft rels letter.docx --to /word/styles.xml",
               addOptions, rels});
}

} // namespace opcraft
