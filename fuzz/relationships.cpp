// SPDX-License-Identifier: Apache-2.0
// The relationships part of a part. The input is the part.
#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/relationships/RelationshipSource.hpp>

#include "Fuzz.hpp"
#include "model/relationships/RelationshipManager.hpp"
#include "model/relationships/RelationshipSerializer.hpp"

using namespace opc::model;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static RelationshipSerializer serializer; // as a package does, one for many parts
    const auto load = [](const opc::fuzz::Bytes& bytes, RelationshipManager& manager) {
        opc::ByteArrayInAdaptor stream(bytes);
        serializer.load(stream, manager);
    };
    RelationshipManager manager(URI(u"/word/document.xml"));
    if (!opc::fuzz::accepted([&] { load({data, data + size}, manager); }))
        return 0;
    for (const auto& [id, relationship] : manager.getRelationships()) {
        OPCRAFT_REQUIRE(relationship.getID() == id && !id.empty());
        OPCRAFT_REQUIRE(!relationship.getType().empty() && !relationship.getTarget().empty());
        const bool external = relationship.getTargetMode() == TargetMode::External;
        OPCRAFT_REQUIRE(!external || RelationshipSource::isValidTarget(relationship.getTarget()));
        // What was read can be followed: to a part, or to an authority alone, which counts as hierarchical.
        const URI target = Relationship(relationship).getTargetURI();
        OPCRAFT_REQUIRE(external || target.hasAbsolutePath() || target.hasAuthority());
    }
    // What is written reads back equal, and is written alike again.
    const opc::fuzz::Bytes bytes = serializer.save(manager);
    RelationshipManager again(manager.getSourceURI());
    load(bytes, again);
    OPCRAFT_REQUIRE(again.getRelationships() == manager.getRelationships());
    OPCRAFT_REQUIRE(serializer.save(again) == bytes);
    return 0;
}
