// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/URI.hpp>
#include <opc/model/relationships/RawRelationship.hpp>
#include <opc/model/relationships/Relationship.hpp>

#include "model/WellKnown.hpp"
#include "model/relationships/RelationshipsCost.hpp"

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
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
    const Map& getRelationships() const noexcept { return entries().relationships; }
    /// In the order of the part.
    const std::vector<RawRelationship>& getRawRelationships() const noexcept { return entries().raw; }
    std::size_t getEntryCount() const noexcept { return getRelationships().size() + getRawRelationships().size(); }
    bool hasEntry(const std::u16string& id) const {
        const auto& raw = getRawRelationships();
        return getRelationships().count(id) != 0 ||
               std::any_of(raw.begin(), raw.end(), [&id](const RawRelationship& each) { return each.id == id; });
    }

    /// @return false when the ID exists already; its relationship is kept.
    bool add(Relationship relationship) {
        Entries& entries = makeEntries();
        const auto [entry, isNew] = entries.relationships.try_emplace(relationship.getID(), std::move(relationship));
        if (isNew && entries.cost)
            *entries.cost += RelationshipsCost::of(entry->second);
        entries.origins += isNew && leadsToOrigin(entry->second) ? 1 : 0;
        return isNew;
    }
    /// Whether there is a relationship of the type that leads to a signature origin, without a search.
    bool hasOrigin() const noexcept { return entries().origins != 0; }
    /// Attributes of the root of the part that it must not have.
    const std::string& getRootAttributes() const noexcept { return entries().rootAttributes; }
    void keepRootAttributes(std::string attributes) { makeEntries().rootAttributes = std::move(attributes); }

    void keep(RawRelationship raw) {
        Entries& entries = makeEntries();
        entries.raw.push_back(std::move(raw));
        if (entries.cost)
            *entries.cost += RelationshipsCost::of(entries.raw.back());
    }
    void eraseRaw(std::size_t index) noexcept {
        if (entries_->cost)
            *entries_->cost -= RelationshipsCost::of(entries_->raw[index]);
        entries_->raw.erase(entries_->raw.begin() + static_cast<std::ptrdiff_t>(index));
    }
    void erase(const std::u16string& id) noexcept {
        const auto found = getRelationships().find(id);
        if (found == getRelationships().end())
            return;
        if (entries_->cost)
            *entries_->cost -= RelationshipsCost::of(found->second);
        entries_->origins -= leadsToOrigin(found->second) ? 1 : 0;
        entries_->relationships.erase(found);
    }
    void clear() noexcept {
        entries_.reset();
        unreadable_ = false;
    }

    /// Kept from the first call on: a package that is only read needs none.
    RelationshipsCost getCost() noexcept {
        if (!entries_)
            return RelationshipsCost::ofNone();
        if (!entries_->cost)
            entries_->cost = entries_->sumCost();
        return *entries_->cost;
    }

    /// The number of the next ID that is generated. None comes twice, whatever was deleted.
    std::uint64_t takeIDNumber() { return makeEntries().nextIDNumber++; }
    /// Goes on with the number of a manager whose relationships this one took over.
    void takeIDNumberOf(const RelationshipManager& former) {
        makeEntries().nextIDNumber = former.entries().nextIDNumber;
    }

private:
    struct Entries {
        Map relationships{};
        std::vector<RawRelationship> raw{};
        std::string rootAttributes{};
        std::size_t origins = 0;
        std::uint64_t nextIDNumber = 1;
        std::optional<RelationshipsCost> cost{};

        RelationshipsCost sumCost() const noexcept {
            RelationshipsCost sum = RelationshipsCost::ofNone();
            for (const auto& entry : relationships)
                sum += RelationshipsCost::of(entry.second);
            for (const RawRelationship& each : raw)
                sum += RelationshipsCost::of(each);
            return sum;
        }
    };

    static bool leadsToOrigin(const Relationship& relationship) noexcept {
        return relationship.type_ == wellknown::SIGNATURE_ORIGIN_RELATIONSHIP_TYPE;
    }

    static const Entries& none() noexcept {
        static const Entries entries;
        return entries;
    }
    const Entries& entries() const noexcept { return entries_ ? *entries_ : none(); }
    Entries& makeEntries() {
        if (!entries_)
            entries_ = std::make_unique<Entries>();
        return *entries_;
    }

    URI source_;
    std::unique_ptr<Entries> entries_; ///< null when there never was one, as for most parts
    bool modified_ = true;
    bool compact_ = false;
    bool unreadable_ = false;
};

} // namespace opc::model
