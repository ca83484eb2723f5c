// SPDX-License-Identifier: Apache-2.0
#include "opcraft/PackageGraph.hpp"

#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"

#include <opc/core/Strings.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace opcraft {

namespace {

using opc::model::Part;
using opc::model::Relationship;
using opc::model::RelationshipSource;

constexpr std::size_t GRAPH_EXTERNALS = 20;
constexpr std::size_t GRAPH_DEEPEST = 16;

std::string graphKey(std::u16string_view name) {
    return toUtf8(opc::toLowerASCIIString(name));
}

/// The folder of a part, with a slash behind it.
std::string folderOf(const std::string& name) {
    return name.substr(0, name.rfind('/') + 1);
}

/// The folder of a part that is nested so deep, or the last one on the way to it.
std::string folderOf(const std::string& name, std::size_t depth) {
    std::size_t end = 0;
    for (std::size_t i = 0; i < depth; ++i)
        if (const std::size_t next = name.find('/', end + 1); next != name.npos)
            end = next;
    return name.substr(0, end + 1);
}

/// How deep folders are looked into, so that there are no more of them than parts in other graphs.
std::size_t folderDepth(const std::vector<Part>& parts) {
    for (std::size_t depth = GRAPH_DEEPEST; depth > 0; --depth) {
        std::set<std::string> folders;
        for (const Part& part : parts)
            if (folders.size() <= GRAPH_PARTS)
                folders.insert(folderOf(graphKey(part.getName().toString()), depth));
        if (folders.size() <= GRAPH_PARTS)
            return depth;
    }
    return 0;
}

/// What signatures cover: parts by key, and relationships by the key of their source and their Id.
class SignedThings {
public:
    explicit SignedThings(const opc::model::DigitalSignatureManager& manager) {
        for (const auto& report : manager.examineAllSignatures(opc::model::VerificationOptions())) {
            const bool holds = report.signatureValueHolds && std::ranges::none_of(report.references, isBrokenObject);
            for (const opc::model::ReferenceReport& each : report.references)
                add(each, holds);
        }
    }

    GraphCover ofPart(const std::string& key) const { return find(parts_, key); }
    GraphCover ofRelationship(const std::string& source, const std::string& id) const {
        return find(relationships_, {source, id});
    }

private:
    /// Then the signature says nothing of what it names.
    static bool isBrokenObject(const opc::model::ReferenceReport& reference) {
        return reference.kind == opc::model::ReferenceKind::Object && !reference.holds();
    }

    /// @param signatureHolds whether the signature was made over these references.
    void add(const opc::model::ReferenceReport& reference, bool signatureHolds) {
        const GraphCover cover = signatureHolds && reference.holds() ? GraphCover::Covered : GraphCover::Changed;
        const std::string key = graphKey(reference.target);
        if (reference.kind == opc::model::ReferenceKind::Part)
            raise(parts_[key], cover);
        if (reference.kind == opc::model::ReferenceKind::Relationships)
            for (const Relationship& each : reference.relationships)
                raise(relationships_[{key, toUtf8(each.getID())}], cover);
    }

    static void raise(GraphCover& cover, GraphCover to) { cover = std::max(cover, to); }

    template <class Key>
    static GraphCover find(const std::map<Key, GraphCover>& covers, const Key& key) {
        const auto found = covers.find(key);
        return found == covers.end() ? GraphCover::None : found->second;
    }

    std::map<std::string, GraphCover> parts_;
    std::map<std::pair<std::string, std::string>, GraphCover> relationships_;
};

class GraphBuilder {
public:
    GraphBuilder(OpenPackage& package, bool hasSignatures) : package_(package) {
        if (hasSignatures)
            signed_ = std::make_unique<SignedThings>(package.getSignatureManager());
    }

    PackageGraph build() {
        graph_.nodes.push_back({GraphNodeKind::Package, "/"});
        const std::vector<Part> parts = package_.getModel().getParts();
        hasFolders_ = parts.size() > GRAPH_PARTS;
        depth_ = hasFolders_ ? folderDepth(parts) : 0;
        for (const Part& part : parts)
            addPart(part);
        package_.forEachSource([&](const RelationshipSource& source) { countExternals(source); });
        package_.forEachSource([&](const RelationshipSource& source) { addRelationships(source); });
        return std::move(graph_);
    }

private:
    void addPart(const Part& part) {
        const std::string name = toUtf8(part.getName().toString());
        const std::string key = graphKey(part.getName().toString());
        const GraphCover cover = signed_ ? signed_->ofPart(key) : GraphCover::None;
        if (!hasFolders_) {
            parts_[key] = addNode({GraphNodeKind::Part, name, toUtf8(part.getContentType().toString()), 1, cover});
            return;
        }
        const auto [folder, isNew] = folders_.try_emplace(folderOf(key, depth_), graph_.nodes.size());
        if (isNew)
            addNode({GraphNodeKind::Folder, folderOf(name, depth_), {}, 0, cover});
        GraphNode& node = graph_.nodes[folder->second];
        ++node.count;
        if (node.cover != cover) // a folder is covered when all parts in it are
            node.cover = std::max(node.cover, cover) == GraphCover::Changed ? GraphCover::Changed : GraphCover::None;
        parts_[key] = folder->second;
    }

    std::size_t addNode(GraphNode node) {
        graph_.nodes.push_back(std::move(node));
        return graph_.nodes.size() - 1;
    }

    void countExternals(const RelationshipSource& source) {
        for (const Relationship& each : source.getRelationships())
            if (!targetPartOf(each))
                externals_.insert(toUtf8(each.getTarget()));
    }

    void addRelationships(const RelationshipSource& source) {
        const std::string key = graphKey(source.getSourceURI().toString());
        const std::size_t from = key == "/" ? 0 : parts_.at(key);
        for (const Relationship& each : source.getRelationships()) {
            const GraphCover cover = signed_ ? signed_->ofRelationship(key, toUtf8(each.getID())) : GraphCover::None;
            addEdge(from, targetOf(each, from), toUtf8(each.getType()), cover);
        }
    }

    std::size_t targetOf(const Relationship& relationship, std::size_t from) {
        const auto path = targetPartOf(relationship);
        if (!path)
            return externalOf(relationship, from);
        const auto part = parts_.find(graphKey(*path));
        if (part != parts_.end())
            return part->second;
        return nodeOf({GraphNodeKind::Missing, toUtf8(*path)}, graphKey(*path));
    }

    std::size_t externalOf(const Relationship& relationship, std::size_t from) {
        const std::string target = toUtf8(relationship.getTarget());
        if (externals_.size() <= GRAPH_EXTERNALS && !hasFolders_)
            return nodeOf({GraphNodeKind::External, target}, target);
        const std::string key = std::to_string(from) + ' ' + toUtf8(relationship.getType());
        const std::size_t node = nodeOf({GraphNodeKind::Externals, {}, {}, 0}, key);
        ++graph_.nodes[node].count;
        return node;
    }

    std::size_t nodeOf(GraphNode node, const std::string& key) {
        const auto [found, isNew] = others_.try_emplace({node.kind, key}, graph_.nodes.size());
        if (isNew)
            addNode(std::move(node));
        return found->second;
    }

    void addEdge(std::size_t from, std::size_t to, const std::string& type, GraphCover cover) {
        const auto [found, isNew] = edges_.try_emplace({from, to, type, cover}, graph_.edges.size());
        if (isNew)
            graph_.edges.push_back({from, to, type, 1, cover});
        else
            ++graph_.edges[found->second].count;
    }

    OpenPackage& package_;
    std::unique_ptr<SignedThings> signed_;
    PackageGraph graph_;
    bool hasFolders_ = false;
    std::size_t depth_ = 0;                      ///< of folders
    std::map<std::string, std::size_t> parts_;   ///< the node of each part
    std::map<std::string, std::size_t> folders_; ///< the node of each folder
    std::set<std::string> externals_;
    std::map<std::pair<GraphNodeKind, std::string>, std::size_t> others_;
    std::map<std::tuple<std::size_t, std::size_t, std::string, GraphCover>, std::size_t> edges_;
};

// ---- the language of Graphviz

constexpr std::size_t LONGEST_LABEL = 60;

std::string dotText(const std::string& text) {
    std::string result = "\"";
    for (const char each : escaped(text))
        result += each == '"' || each == '\\' ? std::string("\\") + each : std::string(1, each);
    return result + '"';
}

/// Without the middle of a long text; whole characters are kept.
std::string shortened(const std::string& text) {
    const std::u16string wide = opc::toString(text, false);
    if (wide.size() <= LONGEST_LABEL)
        return text;
    return toUtf8(std::u16string_view(wide).substr(0, LONGEST_LABEL / 2)) + "…" +
           toUtf8(std::u16string_view(wide).substr(wide.size() - LONGEST_LABEL / 2 + 1));
}

std::string graphLabel(const GraphNode& node) {
    switch (node.kind) {
    case GraphNodeKind::Package:
        return "package";
    case GraphNodeKind::Part:
        return shortened(node.name.substr(node.name.rfind('/') + 1));
    case GraphNodeKind::Folder:
        return shortened(node.name) + " (" + countText(node.count, "part") + ")";
    case GraphNodeKind::Externals:
        return countText(node.count, "external target");
    default:
        return shortened(node.name);
    }
}

std::string nodeStyle(const GraphNode& node) {
    switch (node.kind) {
    case GraphNodeKind::Package:
        return "shape=cylinder, fillcolor=\"#e8e8e8\"";
    case GraphNodeKind::Missing:
        return "color=\"#c00000\", fontcolor=\"#c00000\", style=\"dashed\"";
    case GraphNodeKind::External:
    case GraphNodeKind::Externals:
        return "shape=ellipse, color=\"#3060c0\", fontcolor=\"#3060c0\", style=\"dashed\"";
    default:
        return node.cover == GraphCover::Covered   ? "fillcolor=\"#c8f0c8\""
               : node.cover == GraphCover::Changed ? "fillcolor=\"#ffb0a0\""
                                                   : "fillcolor=\"#ffffff\"";
    }
}

std::string nodeLine(const GraphNode& node, std::size_t number) {
    const std::string hint = node.contentType.empty() ? node.name : node.name + " (" + node.contentType + ")";
    return "n" + std::to_string(number) + " [label=" + dotText(graphLabel(node)) + ", tooltip=" + dotText(hint) + ", " +
           nodeStyle(node) + "];\n";
}

std::string edgeLine(const GraphEdge& edge, const PackageGraph& graph) {
    const GraphNodeKind kind = graph.nodes[edge.to].kind;
    const bool isExternal = kind == GraphNodeKind::External || kind == GraphNodeKind::Externals;
    const char* const color = edge.cover == GraphCover::Changed   ? "#c00000"
                              : kind == GraphNodeKind::Missing    ? "#c00000"
                              : edge.cover == GraphCover::Covered ? "#208020"
                              : isExternal                        ? "#3060c0"
                                                                  : "#606060";
    const std::string name = edge.type.substr(edge.type.find_last_of("/#") + 1);
    const std::string count = edge.count > 1 ? " × " + std::to_string(edge.count) : "";
    return "  n" + std::to_string(edge.from) + " -> n" + std::to_string(edge.to) +
           " [label=" + dotText(shortened(name) + count) + ", tooltip=" + dotText(edge.type) + ", color=\"" + color +
           "\", fontcolor=\"" + color + '"' + (isExternal ? ", style=dashed" : "") + "];\n";
}

/// Parts in boxes for their folders.
std::string clusterText(const PackageGraph& graph) {
    std::map<std::string, std::string> folders;
    std::string text;
    for (std::size_t i = 0; i < graph.nodes.size(); ++i) {
        const GraphNode& node = graph.nodes[i];
        const std::string folder = node.kind == GraphNodeKind::Part ? folderOf(node.name) : "/";
        if (folder == "/")
            text += "  " + nodeLine(node, i);
        else
            folders[folder] += "    " + nodeLine(node, i);
    }
    std::size_t number = 0;
    for (const auto& [folder, nodes] : folders)
        text += "  subgraph cluster" + std::to_string(number++) + " {\n    label=" + dotText(folder) + ";\n" + nodes +
                "  }\n";
    return text;
}

} // namespace

PackageGraph makeGraph(OpenPackage& package, bool hasSignatures) {
    return GraphBuilder(package, hasSignatures).build();
}

std::string toDot(const PackageGraph& graph) {
    std::string text = "digraph package {\n"
                       "  graph [rankdir=LR, fontname=\"sans-serif\", fontsize=10, color=\"#b0b0b0\"];\n"
                       "  node [shape=box, style=filled, height=0.3, fontname=\"sans-serif\", fontsize=10];\n"
                       "  edge [fontname=\"sans-serif\", fontsize=8];\n" +
                       clusterText(graph);
    for (const GraphEdge& edge : graph.edges)
        text += edgeLine(edge, graph);
    return text + "}\n";
}

} // namespace opcraft
