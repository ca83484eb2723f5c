// SPDX-License-Identifier: Apache-2.0
#include "model/PartNameTree.hpp"

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include <vector>

namespace opc::model {

namespace {

/// Cuts the first segment off a path.
std::u16string_view takeSegment(std::u16string_view& path) noexcept {
    path.remove_prefix(1);
    const std::u16string_view segment = path.substr(0, path.find(URI::getSlash()));
    path.remove_prefix(segment.size());
    return segment;
}

} // namespace

std::u16string PartNameTree::keyOf(const PartName& name) {
    return toLowerASCIIString(name.toString());
}

void PartNameTree::add(const std::u16string& key) {
    // New nodes are allocated first, so that a lack of memory is detected before anything is counted.
    std::vector<Node*> path;
    Nodes fresh;
    std::uint64_t parent = root;
    std::uint64_t nextID = nextID_;
    for (std::u16string_view rest = key; !rest.empty();) {
        const std::u16string_view segment = takeSegment(rest);
        auto node = nodes_.find(std::pair(parent, segment));
        if (node == nodes_.end())
            node = fresh.emplace(std::pair(parent, std::u16string(segment)), Node{nextID++}).first;
        parent = node->second.id;
        path.push_back(&node->second);
    }
    for (Node* node : path)
        ++(node == path.back() ? node->parts : node->parents);
    nodes_.merge(fresh);
    nextID_ = nextID;
}

void PartNameTree::throwIfInconsistent(std::u16string_view key) const {
    std::uint64_t parent = root;
    while (!key.empty()) {
        const auto node = nodes_.find(std::pair(parent, takeSegment(key)));
        if (key.empty() && (node == nodes_.end() || node->second.parts == 0))
            throw PartDeleteFailed("Internal Error: Prefix map inconsistent with part map. Part name not present.");
        if (!key.empty() && (node == nodes_.end() || node->second.parents == 0))
            throw PartDeleteFailed(
                "Internal Error: Prefix map inconsistent with part map. Expected prefix not present.");
        parent = node->second.id;
    }
}

void PartNameTree::remove(std::u16string_view key) {
    throwIfInconsistent(key);
    std::uint64_t parent = root;
    while (!key.empty()) {
        const auto node = nodes_.find(std::pair(parent, takeSegment(key)));
        parent = node->second.id;
        --(key.empty() ? node->second.parts : node->second.parents);
        if (node->second.parts == 0 && node->second.parents == 0)
            nodes_.erase(node);
    }
}

PartNameTree::Derivation PartNameTree::getDerivation(std::u16string_view key, std::u16string_view leftOut) const {
    bool belowPart = false;
    std::uint64_t parent = root;
    while (!key.empty()) {
        const std::u16string_view segment = takeSegment(key);
        const auto node = nodes_.find(std::pair(parent, segment));
        if (node == nodes_.end())
            break;
        const bool isShared = !leftOut.empty() && takeSegment(leftOut) == segment;
        const unsigned long parts = node->second.parts - (isShared && leftOut.empty() ? 1 : 0);
        const unsigned long parents = node->second.parents - (isShared && !leftOut.empty() ? 1 : 0);
        if (!isShared)
            leftOut = {};
        if (key.empty() && parents != 0)
            return Derivation::Subset;
        belowPart = belowPart || (!key.empty() && parts != 0);
        parent = node->second.id;
    }
    return belowPart ? Derivation::Superset : Derivation::None;
}

} // namespace opc::model
