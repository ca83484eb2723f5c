// SPDX-License-Identifier: Apache-2.0
// The relationships part of a part. The input is the part.
#include <opc/errors/Errors.hpp>
#include <opc/model/relationships/RelationshipSource.hpp>

#include "Fuzz.hpp"
#include "model/relationships/RelationshipManager.hpp"
#include "model/relationships/RelationshipSerializer.hpp"

namespace {

using namespace opc::model;
using opc::fuzz::Bytes;

const auto target = opc::fuzz::targets().emplace("relationships", [](const Bytes& part) {
    static RelationshipSerializer serializer; // as a package does, one for many parts
    RelationshipManager manager(URI(u"/word/document.xml"));
    if (!opc::fuzz::accepted([&] { serializer.load(part, manager); }))
        return;
    for (const auto& [id, relationship] : manager.getRelationships()) {
        OPCRAFT_REQUIRE(relationship.getID() == id && !id.empty());
        OPCRAFT_REQUIRE(!relationship.getType().empty() && !relationship.getTarget().empty());
        const bool external = relationship.getTargetMode() == TargetMode::External;
        OPCRAFT_REQUIRE(!external || RelationshipSource::isValidTarget(relationship.getTarget()));
        // What was read can be followed: to a part, or to an authority alone, which counts as hierarchical.
        const URI uri = Relationship(relationship).getTargetURI();
        OPCRAFT_REQUIRE(external || uri.hasAbsolutePath() || uri.hasAuthority());
    }
    // What is written reads back equal, and is written alike again.
    const Bytes bytes = serializer.save(manager);
    RelationshipManager again(manager.getSourceURI());
    serializer.load(bytes, again);
    OPCRAFT_REQUIRE(again.getRelationships() == manager.getRelationships());
    OPCRAFT_REQUIRE(serializer.save(again) == bytes);
});

} // namespace
