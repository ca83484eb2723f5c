// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "model/PiecesReading.hpp"

namespace opc::model {

class RelationshipManager;
class RelationshipSerializer;

/// Reads a relationships part in pieces.
class RelationshipPieces final : public PieceReader {
public:
    static const PieceVocabulary VOCABULARY;

    RelationshipPieces(RelationshipSerializer& serializer, RelationshipManager& manager)
        : serializer_(serializer), manager_(manager) {}

    bool read(const std::vector<unsigned char>& document, bool takes) override;
    void keepRoot(const detail::XmlPieces& document) override;
    void keep(const Piece& piece, const std::string& reason) override;
    RuleId ruleOf(const Piece& piece, const ErrorPlace& place) const override;
    std::string keyOf(const Piece& piece) const override;

private:
    RelationshipSerializer& serializer_;
    RelationshipManager& manager_;
};

} // namespace opc::model
