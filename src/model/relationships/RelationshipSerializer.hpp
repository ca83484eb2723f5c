// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/InputStream.hpp>
#include <opc/model/relationships/Relationship.hpp>
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesHelper.hpp>

#include <set>
#include <string>
#include <vector>

namespace opc::model {

class RelationshipManager;

/// Reads and writes relationships parts (ECMA-376-2 §6.5.2). One object serves all sources of a package, so the schema
/// is loaded once; its guard also keeps the XML runtime alive while the package is open.
class RelationshipSerializer {
public:
    explicit RelationshipSerializer(const Limits& limits = {});

    /// Replaces the relationships by those of a relationships part; they are marked as unmodified.
    /// @throws InvalidPartContent
    void load(InputStream& stream, RelationshipManager& manager);

    /// Whether a relationships part contains elements only: neither white space nor comments between them.
    /// @throws InvalidXMLDocument
    bool isCompact(InputStream& stream);

    /// The bytes of a relationships part.
    /// @throws InvalidPartContent
    std::vector<unsigned char> save(const RelationshipManager& manager);

private:
    void readDocument(const xercesc::DOMDocument& document, RelationshipManager& manager);
    Relationship readRelationship(const xercesc::DOMElement* element, const URI& source);
    void throwIfNotType(const std::u16string& type);
    void appendRelationship(xercesc::DOMElement* root, const Relationship& relationship) const;

    XercesGuard guard_;
    Limits limits_;
    ParserHandle parser_;
    WriterHandle writer_;
    WriterHandle compactWriter_;
    XercesString namespace_;
    XercesString relationships_;
    XercesString relationship_;
    XercesString id_;
    XercesString type_;
    XercesString target_;
    XercesString targetMode_;
    std::u16string external_;
    std::set<std::u16string> types_; ///< that were read and are URIs: the parts of a package have few between them
};

} // namespace opc::model
