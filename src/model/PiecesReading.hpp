// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/XmlPieces.hpp>

#include "model/Reading.hpp"

#include <map>
#include <string>
#include <vector>

namespace opc::model {

/// A child of the root of a document that is read in pieces.
struct Piece {
    const detail::XmlPieces& document;
    const detail::XmlChild& child;
    detail::XmlTag tag;
    std::string namespaceURI;

    bool is(std::string_view uri, std::string_view localName) const {
        return namespaceURI == uri && tag.localName() == localName;
    }
    /// The value of an attribute as the parser reads it; empty for none.
    std::string attribute(std::string_view name) const;
};

/// How documents of one kind are read.
class PieceReader {
public:
    virtual ~PieceReader() = default;

    /// Reads a document, a root with at most one child, by the rules for whole documents.
    /// @param takes whether to take over what is in it; otherwise this is a trial.
    /// @return whether it needed no validating parser.
    /// @throws opc::Exception when something is wrong; nothing is taken then.
    virtual bool read(const std::vector<unsigned char>& document, bool takes) = 0;

    /// Keeps the attributes of the root, which `read` refuses, unless it stays anyway.
    virtual void keepRoot(const detail::XmlPieces& /*document*/) {}

    /// Keeps a child that is not read.
    virtual void keep(const Piece& piece, const std::string& reason) = 0;

    /// The rule that a child breaks, which `read` refuses.
    /// @param place as `read` tells it.
    virtual RuleId ruleOf(const Piece& piece, const ErrorPlace& place) const = 0;

    /// What no two children have in common; empty for a child without it.
    virtual std::string keyOf(const Piece& piece) const = 0;
};

/// What is the same in all documents of one kind.
struct PieceVocabulary {
    std::string_view namespaceURI;
    std::string_view root;
    RuleId compatibility; ///< the rule that Markup Compatibility breaks
    RuleId duplicate;     ///< the rule that two children with the same key break
    const char* key;      ///< the name of the attribute that is the key; "" for the element itself
};

/// Reads a document that was refused child by child, each by the same rules on a root that has it alone. What is wrong
/// goes to the sink, with its place in the whole document, and is kept by the reader as it stands. Of several children
/// with one key none is taken.
class PiecesReading {
public:
    PiecesReading(const Reading& reading, const Limits& limits, const PieceVocabulary& vocabulary, std::string item)
        : reading_(reading), limits_(limits), vocabulary_(vocabulary), item_(std::move(item)) {}

    /// To be called where the error is handled.
    /// @param refused what is wrong with the whole.
    /// @return false when the document cannot be taken to pieces: there is no more than a finding for it then, and what
    ///         the reader has taken and kept is void.
    /// @throws what was refused, when the document exceeds a limit.
    bool read(const std::vector<unsigned char>& bytes, const Exception& refused, PieceReader& reader);

private:
    bool isWholeWrong(const detail::XmlPieces& document);
    void readRoot(const detail::XmlPieces& document, PieceReader& reader);
    bool readChildren(const detail::XmlPieces& document, PieceReader& reader);
    bool readChild(const Piece& piece, bool isDuplicate, PieceReader& reader);
    void found(RuleId rule, ErrorPlace place);
    void foundAt(RuleId rule, const detail::XmlPosition& position, const std::string& element, std::string reason);
    RuleId ruleOf(const Piece& piece, const ErrorPlace& place, const PieceReader& reader) const;
    bool isCompatibility(const detail::XmlPieces& document, const detail::XmlTag& tag, const ErrorPlace& place) const;

    const Reading& reading_;
    const Limits& limits_;
    const PieceVocabulary& vocabulary_;
    std::string item_;
    bool isFound_ = false;
};

} // namespace opc::model
