// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/coreproperties/CoreProperties.hpp>

#include "model/PiecesReading.hpp"
#include "model/coreproperties/ValidatingCorePropertiesReader.hpp"

#include <memory>

namespace opc::model {

/// Reads a core properties part in pieces, one property each.
class CorePropertiesPieces final : public PieceReader {
public:
    static const PieceVocabulary VOCABULARY;

    CorePropertiesPieces(const Limits& limits, CoreProperties& properties) : limits_(limits), properties_(properties) {}

    bool read(const std::vector<unsigned char>& document, bool takes) override;
    void keep(const Piece& piece, const std::string& reason) override;
    RuleId ruleOf(const Piece& piece, const ErrorPlace& place) const override;
    std::string keyOf(const Piece& piece) const override;

private:
    const Limits& limits_;
    CoreProperties& properties_;
    std::unique_ptr<ValidatingCorePropertiesReader> validating_;
};

} // namespace opc::model
