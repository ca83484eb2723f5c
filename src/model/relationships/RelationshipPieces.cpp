// SPDX-License-Identifier: Apache-2.0
#include "model/relationships/RelationshipPieces.hpp"

#include <opc/core/Strings.hpp>
#include <opc/model/URI.hpp>

#include "model/relationships/RelationshipManager.hpp"
#include "model/relationships/RelationshipSerializer.hpp"

namespace opc::model {

namespace {

constexpr std::string_view NAMESPACE_URI = "http://schemas.openxmlformats.org/package/2006/relationships";

bool isUri(const std::string& text) {
    try {
        const URI uri(toString(text));
        return true;
    } catch (const Exception&) {
        return false;
    }
}

} // namespace

const PieceVocabulary RelationshipPieces::VOCABULARY = {NAMESPACE_URI, "Relationships", RuleId::MarkupCompatibility,
                                                        RuleId::RelationshipId, "Id"};

bool RelationshipPieces::read(const std::vector<unsigned char>& document, bool takes) {
    RelationshipManager one(manager_.getSourceURI());
    const bool isPlain = serializer_.load(document, one);
    if (takes)
        for (const auto& entry : one.getRelationships())
            manager_.add(entry.second);
    return isPlain;
}

void RelationshipPieces::keepRoot(const detail::XmlPieces& document) {
    manager_.keepRootAttributes(document.rootAttributes());
}

void RelationshipPieces::keep(const Piece& piece, const std::string& reason) {
    const auto text = [&piece](std::string_view name) { return toString(piece.attribute(name)); };
    manager_.keep({text("Id"), text("Type"), text("Target"), text("TargetMode"),
                   piece.document.standAlone(piece.child, NAMESPACE_URI), piece.child.tagEnd.line,
                   piece.child.tagEnd.column, reason});
}

RuleId RelationshipPieces::ruleOf(const Piece& piece, const ErrorPlace& place) const {
    if (!piece.is(NAMESPACE_URI, "Relationship"))
        return RuleId::XmlValid;
    const auto isWrong = [&](std::string_view name) {
        return place.attribute.empty() ? piece.attribute(name).empty() : place.attribute == name;
    };
    if (isWrong("Id"))
        return RuleId::RelationshipId;
    if (isWrong("Type"))
        return RuleId::RelationshipType;
    if (!isWrong("Target"))
        return RuleId::XmlValid;
    const std::string target = piece.attribute("Target");
    const bool isInternal = piece.attribute("TargetMode") != "External";
    return isInternal && !target.empty() && isUri(target) ? RuleId::InternalTarget : RuleId::RelationshipTarget;
}

std::string RelationshipPieces::keyOf(const Piece& piece) const {
    return piece.is(NAMESPACE_URI, "Relationship") ? piece.attribute("Id") : std::string();
}

} // namespace opc::model
