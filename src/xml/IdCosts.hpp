// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <xercesc/util/XercesDefs.hpp>

#include <cstdint>
#include <vector>

namespace opc::model {

/// What the IDs of a document cost the parser. It keeps them in a table whose slots anybody can foresee, so IDs made
/// for one slot would take it time quadratic in their number.
class IdCosts {
public:
    void clear();

    /// @param slots those of the parser's table.
    /// @throws InvalidXMLDocument beyond `XercesHelper::MAX_XML_ID_COMPARISONS`.
    void add(const XMLCh* id, XMLSize_t slots);

private:
    void recount(XMLSize_t slots);

    std::vector<XMLSize_t> hashes_;
    std::vector<std::uint32_t> idsOfSlot_;
    std::uint64_t comparisons_ = 0;
};

} // namespace opc::model
