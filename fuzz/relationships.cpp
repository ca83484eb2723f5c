// SPDX-License-Identifier: Apache-2.0
// The relationships part of a part. The input is the part.
#include <opc/core/ByteArrayInAdaptor.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/relationships/RelationshipSource.hpp>

#include "Fuzz.hpp"
#include "model/relationships/RelationshipManager.hpp"
#include "model/relationships/RelationshipSerializer.hpp"

namespace {

using namespace opc::model;

void checkRelationship(const std::u16string& id, const Relationship& relationship) {
    OPCRAFT_REQUIRE(relationship.getID() == id && !id.empty());
    OPCRAFT_REQUIRE(!relationship.getType().empty() && !relationship.getTarget().empty());
    if (relationship.getTargetMode() == TargetMode::External)
        OPCRAFT_REQUIRE(RelationshipSource::isValidTarget(relationship.getTarget()));
    // What was read can be followed: to a part, or to an authority alone, which counts as hierarchical.
    const URI target = Relationship(relationship).getTargetURI();
    OPCRAFT_REQUIRE(relationship.getTargetMode() == TargetMode::External || target.hasAbsolutePath() ||
                    target.hasAuthority());
}

/// What is written reads back equal, and is written alike again.
void checkRoundTrip(RelationshipSerializer& serializer, const RelationshipManager& manager) {
    const std::vector<unsigned char> bytes = serializer.save(manager);
    RelationshipManager again(manager.getSourceURI());
    opc::ByteArrayInAdaptor stream(bytes);
    serializer.load(stream, again);
    OPCRAFT_REQUIRE(again.getRelationships() == manager.getRelationships());
    OPCRAFT_REQUIRE(serializer.save(again) == bytes);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static RelationshipSerializer serializer; // as a package does, one for many parts
    const std::vector<unsigned char> bytes(data, data + size);
    opc::ByteArrayInAdaptor stream(bytes);
    RelationshipManager manager(URI(u"/word/document.xml"));
    if (!opc::fuzz::accepted([&] { serializer.load(stream, manager); }))
        return 0;
    for (const auto& [id, relationship] : manager.getRelationships())
        checkRelationship(id, relationship);
    checkRoundTrip(serializer, manager);
    return 0;
}
