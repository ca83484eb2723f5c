// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>
#include <opc/core/PlainXml.hpp>

#include "model/relationships/RelationshipRules.hpp"

#include <memory>
#include <vector>

namespace opc::model {

class RelationshipManager;
class ValidatingRelationshipsReader;

/// Reads and writes relationships parts (ECMA-376-2 §6.5.2). One object serves all sources of a package; the XML
/// runtime is set up for it when a part needs a validating parser.
class RelationshipSerializer {
public:
    explicit RelationshipSerializer(const Limits& limits = {});
    ~RelationshipSerializer();

    /// Replaces the relationships by those of a relationships part; they are marked as unmodified.
    /// @return whether they needed no validating parser.
    /// @throws InvalidPartContent
    bool load(const std::vector<unsigned char>& bytes, RelationshipManager& manager);

    /// Whether a relationships part contains elements only: neither white space nor comments between them.
    /// @throws InvalidXMLDocument
    bool isCompact(const std::vector<unsigned char>& bytes);

    /// The bytes of a relationships part.
    /// @throws InvalidPartContent
    std::vector<unsigned char> save(const RelationshipManager& manager);

private:
    ValidatingRelationshipsReader& validatingReader();

    Limits limits_;
    RelationshipRules rules_;
    detail::PlainXmlReader plainReader_;
    std::unique_ptr<ValidatingRelationshipsReader> validatingReader_;
};

} // namespace opc::model
