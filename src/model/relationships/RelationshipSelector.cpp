// SPDX-License-Identifier: Apache-2.0
#include <opc/model/relationships/RelationshipSelector.hpp>

#include <opc/errors/Errors.hpp>
#include <opc/model/PartName.hpp>

#include <utility>

namespace opc::model {

RelationshipSelector::RelationshipSelector(const URI& source, RelationshipSelectorType type, std::u16string criteria)
    : source_(source), type_(type), criteria_(std::move(criteria)) {
    try {
        const PartName checked(source_);
    } catch (const InvalidPartName& e) {
        throw InvalidURI(std::string("Input sourceURI is incorrect:") + e.what());
    }
    if (criteria_.empty())
        throw Exception("SelectionCriteria cannot be empty.");
}

bool RelationshipSelector::operator==(const RelationshipSelector& other) const noexcept {
    return source_ == other.source_ && type_ == other.type_ && criteria_ == other.criteria_;
}

bool RelationshipSelector::operator!=(const RelationshipSelector& other) const noexcept {
    return !(*this == other);
}

} // namespace opc::model
