// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/Strings.hpp>
#include <opc/model/URI.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace opc::model {

/// The kind of the criteria of a selector.
enum class RelationshipSelectorType : std::int32_t {
    ById = 0,   ///< one relationship ID
    ByType = 1, ///< one relationship type
};

/// Selects relationships of one source: one by its ID, or all of a type. A plain value.
class OPCRAFT_API RelationshipSelector {
public:
    /// @param source a part name, or "/" for the package.
    /// @throws InvalidURI when the source is neither.
    /// @throws opc::Exception (the base itself) when the criteria are empty.
    RelationshipSelector(const URI& source, RelationshipSelectorType type, std::u16string criteria);
    /// The same with criteria in UTF-8, as `fromUTF8` reads it.
    RelationshipSelector(const URI& source, RelationshipSelectorType type, std::string_view criteria)
        : RelationshipSelector(source, type, fromUTF8(criteria)) {}

    URI getSourceURI() const { return source_; }
    RelationshipSelectorType getSelectorType() const noexcept { return type_; }
    std::u16string getSelectionCriteria() const { return criteria_; }

    bool operator==(const RelationshipSelector& other) const noexcept;
    bool operator!=(const RelationshipSelector& other) const noexcept;

private:
    URI source_;
    RelationshipSelectorType type_;
    std::u16string criteria_;
};

} // namespace opc::model
