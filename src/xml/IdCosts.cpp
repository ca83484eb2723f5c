// SPDX-License-Identifier: Apache-2.0
#include "xml/IdCosts.hpp"

#include "xml/XmlBounds.hpp"

#include <xercesc/util/XMLString.hpp>

#include <limits>

namespace opc::model {

void IdCosts::clear() {
    hashes_.clear();
    idsOfSlot_.clear();
    comparisons_ = 0;
}

void IdCosts::add(const XMLCh* id, XMLSize_t slots) {
    if (slots != idsOfSlot_.size())
        recount(slots);
    hashes_.push_back(xercesc::XMLString::hash(id, std::numeric_limits<XMLSize_t>::max()));
    comparisons_ += idsOfSlot_[hashes_.back() % slots]++;
    throwIfTooManyIdComparisons(comparisons_);
}

// The table grows in proportion, so all recounts together take linear time.
void IdCosts::recount(XMLSize_t slots) {
    idsOfSlot_.assign(slots, 0);
    for (const XMLSize_t hash : hashes_)
        ++idsOfSlot_[hash % slots];
}

} // namespace opc::model
