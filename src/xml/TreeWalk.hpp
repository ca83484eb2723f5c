// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <xercesc/dom/DOMNode.hpp>

#include <cstdint>

namespace opc::model {

/// Visits all descendants of a node in document order, without recursion and in time linear in their number.
class TreeWalk {
public:
    explicit TreeWalk(const xercesc::DOMNode* root) : root_(root), current_(root) {}

    /// @return null when all were visited; it must not be called again then.
    xercesc::DOMNode* next() {
        if (auto* child = current_->getFirstChild()) {
            ++depth_;
            return moveTo(child);
        }
        for (; current_ != root_; current_ = current_->getParentNode(), --depth_)
            if (auto* sibling = current_->getNextSibling())
                return moveTo(sibling);
        return nullptr;
    }

    /// The depth of the current node below the root; 1 for a child of the root.
    std::uint32_t depth() const { return depth_; }

private:
    xercesc::DOMNode* moveTo(xercesc::DOMNode* node) {
        current_ = node;
        return node;
    }

    const xercesc::DOMNode* root_;
    const xercesc::DOMNode* current_;
    std::uint32_t depth_ = 0;
};

} // namespace opc::model
