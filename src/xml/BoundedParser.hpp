// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>

#include "xml/IdCosts.hpp"
#include "xml/ParseErrors.hpp"

#include <xercesc/parsers/DOMLSParserImpl.hpp>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace opc::model {

/// The parser of Xerces, with bounds on what takes time out of proportion to the length of a document.
///
/// It searches all declarations of all open elements for the meaning of a prefix, all attributes of an element for the
/// position of a new one, and a table of fixed size for a name; it reads a namespace again at each element and
/// attribute, and IDs can be chosen for one slot of their table. So a short, crafted document would keep it busy for
/// hours; and what walks a document by recursion would overflow the stack. The bounds are the limits and those of
/// `XercesHelper`; exceeding one ends the parse with `InvalidXMLDocument`. So does a parse that uses the reserve of
/// memory.
class BoundedParser final : public xercesc::DOMLSParserImpl {
public:
    /// @param limits those for XML count.
    explicit BoundedParser(const Limits& limits);

    const Limits& getLimits() const { return limits_; }

    /// The different names of the last document. Xerces keeps every namespace for the life of a parser with grammars,
    /// and searches all of them: after many, a new parser is faster.
    std::size_t getNameCount() const { return names_.size(); }

    /// Makes the next document independent of the last one: of its errors and of the version of XML that it declared.
    /// Called before the settings of the read are made, some of which belong to the scanner that it replaces.
    void forgetLast();

    /// Receives the errors of a read, which ends with the first one.
    ParseErrors& getErrors() { return errors_; }

    /// @throws InvalidXMLDocument when the read ended with an error.
    void throwIfWrong();

    /// Sets a place to the line and the column after the start tag of an element of the last document.
    /// @param index the number of elements before it; the place is unchanged for one that was not read.
    void locate(std::size_t index, ErrorPlace& place) const;

    /// Whether a tree is built for documents; true at first. Without, a parse only checks.
    void setBuildsTree(bool buildsTree) { buildsTree_ = buildsTree; }

    /// Whether validation leaves attributes and texts as they are written; false at first. Otherwise white space that
    /// is not significant for the type of a value is removed from it.
    void setKeepsWhiteSpace(bool keepsWhiteSpace) { keepsWhiteSpace_ = keepsWhiteSpace; }
    bool keepsWhiteSpace() const { return keepsWhiteSpace_; }

    void startDocument() override;
    void startElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId, const XMLCh* prefix,
                      const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t attributeCount, bool isEmpty,
                      bool isRoot) override;
    void endElement(const xercesc::XMLElementDecl& declaration, unsigned int uriId, bool isRoot,
                    const XMLCh* prefix) override;
    void docCharacters(const XMLCh* text, XMLSize_t length, bool isCDATASection) override;
    void docComment(const XMLCh* text) override;
    void docPI(const XMLCh* target, const XMLCh* data) override;

private:
    struct NameHash {
        using is_transparent = void;
        std::size_t operator()(std::u16string_view name) const { return std::hash<std::u16string_view>()(name); }
    };

    struct Position {
        std::uint32_t line;
        std::uint32_t column;
    };

    Position here() const;
    void throwIfTooMuch(const xercesc::XMLElementDecl& declaration, const XMLCh* prefix,
                        const xercesc::RefVectorOf<xercesc::XMLAttr>& attributes, XMLSize_t attributeCount);
    void countNodes(std::uint64_t count);
    void countName(std::u16string_view name);
    void countNames(const xercesc::XMLElementDecl& declaration, const XMLCh* prefix);
    void countNames(const xercesc::XMLAttr& attribute);
    void countId(const xercesc::XMLAttr& attribute);

    const Limits limits_;
    bool buildsTree_ = true;
    bool keepsWhiteSpace_ = false;
    std::uint64_t depth_ = 0;
    std::uint64_t nodes_ = 0;
    std::unordered_set<std::u16string, NameHash, std::equal_to<>> names_;
    IdCosts ids_;
    ParseErrors errors_;
    std::vector<Position> positions_; ///< after the start tag of each element, in document order
    std::u16string elementName_;      ///< kept to reuse its memory
};

} // namespace opc::model
