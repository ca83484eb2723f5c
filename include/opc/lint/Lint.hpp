// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/Findings.hpp>
#include <opc/core/Limits.hpp>

#include <set>
#include <vector>

namespace opc::interfaces {
class IPhysicalPackage;
}

/// What is wrong with a package, or worth knowing about it, all at once.
namespace opc::lint {

/// How a package is examined. A value without invariants.
struct Options {
    Limits limits{}; ///< those for XML count; those of items are the store's

    /// Whether more is read than a package reads when it is opened: every item to its end, for damaged content; content
    /// types and relationships again, for their lines and for Markup Compatibility that is merely declared; core
    /// properties, and signatures with all that they refer to.
    bool readsContents = true;

    std::set<RuleId> rules{}; ///< that count; empty: all
};

/// Opens a package for reading, as tolerantly as it can be opened, holds it to all rules (`getAllRules`) and closes it.
///
/// What the package itself does not tell when it is opened is examined then: where relationships lead, content types,
/// core properties, thumbnails, signatures, and what somebody who takes files from others may want to know of. Nothing
/// in the package is run or fetched. The signers are not judged: no key and no certificate is trusted or asked for.
/// Whether a signature covers the stored items that are not parts is left open; these have findings of their own.
///
/// Called by one thread at a time for one store. A store that implements `interfaces::IPhysicalFindings` is opened
/// tolerantly, too, and tells its own findings.
/// @param store not open. It is closed again when this returns or throws.
/// @return the findings in the order of the store's items, those of one item by place and rule; first those of the
///         package as a whole and of the content types stream, last those of items that are not parts.
/// @throws opc::Exception, as `model::Package::open` with a sink, when nothing can be read; for a failure of the store
///         and for an exceeded limit of the store.
OPCRAFT_API std::vector<Finding> examine(interfaces::IPhysicalPackage& store, const Options& options = {});

} // namespace opc::lint
