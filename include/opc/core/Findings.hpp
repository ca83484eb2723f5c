// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/ErrorPlace.hpp>
#include <opc/core/Export.hpp>
#include <opc/core/Rules.hpp>

#include <string>

namespace opc {

/// Something in a package that breaks a rule, or is worth knowing. A value without invariants.
struct Finding {
    RuleId rule = RuleId::XmlWellFormed;
    ErrorPlace place;    ///< `item` is empty for what concerns the package as a whole
    std::string message; ///< one sentence with the value, without the item; UTF-8
    bool blocks = false; ///< whether the package cannot be opened without a sink for findings because of this
};

/// Receives findings while a package is read.
///
/// Where a reader takes a sink, what is wrong is handed to it instead of being thrown, and what can still be read is
/// read. A limit that is exceeded, a failure of the store and the end of memory are thrown all the same. What `found`
/// throws ends the reading and is thrown to its caller.
class OPCRAFT_API FindingSink {
public:
    virtual ~FindingSink();

    virtual void found(const Finding& finding) = 0;
};

} // namespace opc
