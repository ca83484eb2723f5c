// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/URI.hpp>
#include <opc/model/relationships/Relationship.hpp>

#include "model/relationships/RelationshipsCost.hpp"

#include <map>
#include <string>
#include <utility>

namespace opc::model {

/// The relationships of one source in memory, in the order of their IDs.
class RelationshipManager {
public:
    using Map = std::map<std::u16string, Relationship>;

    explicit RelationshipManager(const URI& source) : source_(source) {}

    bool isModified() const noexcept { return modified_; }
    void setModified(bool modified) noexcept { modified_ = modified; }

    /// Whether they are written without white space between the elements.
    bool isCompact() const noexcept { return compact_; }
    void setCompact(bool compact) noexcept { compact_ = compact; }

    const URI& getSourceURI() const noexcept { return source_; }
    const Map& getRelationships() const noexcept { return relationships_; }

    /// @return false when the ID exists already; its relationship is kept.
    bool add(Relationship relationship) {
        const auto [entry, isNew] = relationships_.try_emplace(relationship.getID(), std::move(relationship));
        if (isNew)
            cost_ += RelationshipsCost::of(entry->second);
        return isNew;
    }
    void erase(const std::u16string& id) noexcept {
        const auto found = relationships_.find(id);
        if (found == relationships_.end())
            return;
        cost_ -= RelationshipsCost::of(found->second);
        relationships_.erase(found);
    }
    void clear() noexcept {
        relationships_.clear();
        cost_ = RelationshipsCost::ofNone();
    }

    const RelationshipsCost& getCost() const noexcept { return cost_; }

private:
    bool modified_ = true;
    bool compact_ = false;
    URI source_;
    Map relationships_;
    RelationshipsCost cost_ = RelationshipsCost::ofNone();
};

} // namespace opc::model
