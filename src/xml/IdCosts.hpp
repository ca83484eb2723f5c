// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <xercesc/util/XercesDefs.hpp>

#include <cstdint>
#include <vector>

namespace opc::model {

/// The cost of the IDs of a document for the parser. It keeps them in a table with a known hash function, so IDs chosen
/// for one slot would take time quadratic in their number.
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
