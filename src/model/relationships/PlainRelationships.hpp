// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/PlainXml.hpp>

#include <vector>

namespace opc::model {

class RelationshipManager;
class RelationshipRules;

/// Reads relationships parts that are valid and have nothing out of the ordinary, without a validating parser.
class PlainRelationships final : public detail::PlainXmlHandler {
public:
    PlainRelationships(RelationshipRules& rules, RelationshipManager& manager) : rules_(rules), manager_(manager) {}

    /// Adds the relationships of a part, once.
    /// @return false when a validating parser has to read the part; some relationships may have been added then.
    bool read(const std::vector<unsigned char>& bytes, const Limits& limits, detail::PlainXmlReader& reader);

    /// Whether there was no white space between the elements.
    bool isCompact() const noexcept { return isCompact_; }

    bool declareNamespace(std::string_view prefix, std::string_view uri) override;
    bool startElement(const detail::PlainElement& element) override;
    bool endElement(std::uint64_t end) override;
    bool text(std::string_view piece) override;

private:
    bool readRelationship(const detail::PlainElement& element);

    RelationshipRules& rules_;
    RelationshipManager& manager_;
    int depth_ = 0;
    bool isCompact_ = true;
};

} // namespace opc::model
