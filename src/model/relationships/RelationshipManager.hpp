// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/URI.hpp>
#include <opc/model/relationships/RawRelationship.hpp>
#include <opc/model/relationships/Relationship.hpp>

#include "model/WellKnown.hpp"
#include "model/relationships/RelationshipsCost.hpp"

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

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

    /// Whether there is a relationships part that was not read at all. It has no entries then.
    bool isUnreadable() const noexcept { return unreadable_; }
    void setUnreadable() noexcept { unreadable_ = true; }

    const URI& getSourceURI() const noexcept { return source_; }
    const Map& getRelationships() const noexcept { return relationships_; }
    /// In the order of the part.
    const std::vector<RawRelationship>& getRawRelationships() const noexcept { return raw_; }
    std::size_t getEntryCount() const noexcept { return relationships_.size() + raw_.size(); }
    bool hasEntry(const std::u16string& id) const {
        return relationships_.count(id) != 0 ||
               std::any_of(
                   raw_.begin(), raw_.end(), [&id](const RawRelationship& raw) { return raw.id == id; });
    }

    /// @return false when the ID exists already; its relationship is kept.
    bool add(Relationship relationship) {
        const auto [entry, isNew] = relationships_.try_emplace(relationship.getID(), std::move(relationship));
        if (isNew) {
            cost_ += RelationshipsCost::of(entry->second);
            origins_ += leadsToOrigin(entry->second) ? 1 : 0;
        }
        return isNew;
    }
    /// Whether there is a relationship of the type that leads to a signature origin, without a search.
    bool hasOrigin() const noexcept { return origins_ != 0; }
    /// Attributes of the root of the part that it must not have.
    const std::string& getRootAttributes() const noexcept { return rootAttributes_; }
    void keepRootAttributes(std::string attributes) { rootAttributes_ = std::move(attributes); }

    void keep(RawRelationship raw) {
        const RelationshipsCost cost = RelationshipsCost::of(raw);
        raw_.push_back(std::move(raw));
        cost_ += cost;
    }
    void eraseRaw(std::size_t index) noexcept {
        cost_ -= RelationshipsCost::of(raw_[index]);
        raw_.erase(raw_.begin() + static_cast<std::ptrdiff_t>(index));
    }
    void erase(const std::u16string& id) noexcept {
        const auto found = relationships_.find(id);
        if (found == relationships_.end())
            return;
        cost_ -= RelationshipsCost::of(found->second);
        origins_ -= leadsToOrigin(found->second) ? 1 : 0;
        relationships_.erase(found);
    }
    void clear() noexcept {
        relationships_.clear();
        raw_.clear();
        rootAttributes_.clear();
        unreadable_ = false;
        origins_ = 0;
        cost_ = RelationshipsCost::ofNone();
    }

    const RelationshipsCost& getCost() const noexcept { return cost_; }

private:
    static bool leadsToOrigin(const Relationship& relationship) noexcept {
        return relationship.type_ == wellknown::SIGNATURE_ORIGIN_RELATIONSHIP_TYPE;
    }

    bool modified_ = true;
    bool compact_ = false;
    bool unreadable_ = false;
    std::size_t origins_ = 0;
    URI source_;
    Map relationships_;
    std::vector<RawRelationship> raw_;
    std::string rootAttributes_;
    RelationshipsCost cost_ = RelationshipsCost::ofNone();
};

} // namespace opc::model
