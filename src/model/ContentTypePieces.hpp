// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "model/PiecesReading.hpp"
#include "model/ValidatingContentTypesReader.hpp"

#include <memory>

namespace opc::model {

class ContentTypeSource;

/// Reads a content types stream, whole or in pieces. The XML runtime is set up when a validating parser is needed.
class ContentTypePieces final : public PieceReader {
public:
    static const PieceVocabulary VOCABULARY;

    explicit ContentTypePieces(ContentTypeSource& source) : source_(source) {}

    bool read(const std::vector<unsigned char>& document, bool takes) override;
    void keepRoot(const detail::XmlPieces& document) override;
    void keep(const Piece& piece, const std::string& reason) override;
    RuleId ruleOf(const Piece& piece, const ErrorPlace& place) const override;
    std::string keyOf(const Piece& piece) const override;

private:
    ContentTypeSource& source_;
    std::unique_ptr<ValidatingContentTypesReader> validating_;
};

} // namespace opc::model
