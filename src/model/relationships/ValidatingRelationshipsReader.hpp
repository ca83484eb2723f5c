// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include "model/relationships/RelationshipRules.hpp"

#include <vector>

namespace opc::model {

class RelationshipManager;

/// Reads relationships parts with a validating parser, which says what is wrong with one and where. One object reads
/// any number of parts, so that the schema is loaded once.
class ValidatingRelationshipsReader {
public:
    /// @throws InvalidXMLSchema when the embedded schema does not load.
    explicit ValidatingRelationshipsReader(const Limits& limits);

    /// Adds the relationships of a part; when this throws, those before the wrong one.
    /// @throws InvalidPartContent
    void read(const std::vector<unsigned char>& bytes, RelationshipRules& rules, RelationshipManager& manager);

    /// Whether a part contains elements only: neither white space nor comments between them.
    /// @throws InvalidXMLDocument
    bool isCompact(const std::vector<unsigned char>& bytes);

private:
    const xercesc::DOMElement* parse(const std::vector<unsigned char>& bytes);
    Relationship readRelationship(const xercesc::DOMElement* element, RelationshipRules& rules, const URI& source);

    XercesGuard guard_;
    ParserHandle parser_;
    XercesString namespace_;
    XercesString relationships_;
    XercesString relationship_;
    XercesString id_;
    XercesString type_;
    XercesString target_;
    XercesString targetMode_;
};

} // namespace opc::model
