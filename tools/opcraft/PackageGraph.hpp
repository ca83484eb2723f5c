// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/OpenPackage.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace opcraft {

enum class GraphNodeKind {
    Package,
    Part,
    Folder,   ///< all parts in it, in a package with many
    Missing,  ///< the target of a relationship that leads to no part
    External, ///< a target outside of the package
    Externals ///< several of them, with one source and one type
};

/// What signatures say of a part or relationship.
enum class GraphCover {
    None,
    Covered, ///< a signature whose value is valid covers it
    Changed, ///< one does, and it is not what was signed
};

struct GraphNode {
    GraphNodeKind kind = GraphNodeKind::Part;
    std::string name{};        ///< a part name, a folder with a slash behind it, "/" for the package, a target
    std::string contentType{}; ///< of a part
    std::size_t count = 1;     ///< how many parts or targets it stands for
    GraphCover cover = GraphCover::None;
};

/// Relationships of one type from one node to another.
struct GraphEdge {
    std::size_t from = 0; ///< among the nodes
    std::size_t to = 0;
    std::string type{};
    std::size_t count = 1;
    GraphCover cover = GraphCover::None;
};

struct PackageGraph {
    std::vector<GraphNode> nodes{}; ///< the package first, then parts or folders in the order of their names
    std::vector<GraphEdge> edges{};
};

/// How many parts are nodes of their own.
inline constexpr std::size_t GRAPH_PARTS = 500;

/// The graph of an open package. Of a package with more parts than GRAPH_PARTS, folders are the nodes, the upper ones
/// where there are more of them, too; of more external targets than fit into a picture, those with one source and one
/// type are one.
/// @param hasSignatures whether the package was opened with its signatures.
PackageGraph makeGraph(OpenPackage& package, bool hasSignatures);

/// The text of the graph in the language of Graphviz.
std::string toDot(const PackageGraph& graph);

} // namespace opcraft
