// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/URI.hpp>
#include <opc/model/relationships/Relationship.hpp>

#include <map>
#include <string>

namespace opc::model {

/// The relationships of one source in memory, in the order of their IDs.
class RelationshipManager {
public:
    using Map = std::map<std::u16string, Relationship>;

    explicit RelationshipManager(const URI& source) : source_(source) {}

    bool isModified() const noexcept { return modified_; }
    void setModified(bool modified) noexcept { modified_ = modified; }

    const URI& getSourceURI() const noexcept { return source_; }
    const Map& getRelationships() const noexcept { return relationships_; }

    /// An ID that is there already keeps its relationship.
    void add(const Relationship& relationship) { relationships_.emplace(relationship.getID(), relationship); }
    void erase(const std::u16string& id) noexcept { relationships_.erase(id); }
    void clear() noexcept { relationships_.clear(); }

private:
    bool modified_ = true;
    URI source_;
    Map relationships_;
};

} // namespace opc::model
