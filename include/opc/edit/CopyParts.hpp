// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <string>
#include <vector>

namespace opc::model {
class Package;
class PartName;
} // namespace opc::model

namespace opc::edit {

struct CopyOptions {
    /// Whether the parts that the named ones lead to are copied too, and those that these lead to, and so on.
    bool withTree = false;
};

/// Why a part cannot be copied.
struct CopyConflict {
    std::u16string name;
    std::string reason;
};

/// A relationship of a copied part whose target is no part of the package that received it.
struct DanglingCopy {
    std::u16string source;
    std::u16string id;
    std::u16string target; ///< resolved
};

/// What was copied, or what was in the way. Lists are in the order of names.
struct CopyReport {
    std::vector<std::u16string> copied;
    std::vector<std::u16string> shared;  ///< equal parts were there already
    std::vector<CopyConflict> conflicts; ///< if there are any, nothing was copied
    std::vector<DanglingCopy> dangling;
    std::vector<std::u16string>
        unrelated; ///< named parts that no relationship leads to in the package that has them now
};

/// Copies parts into another package under their names, each with its content type, content and relationships with
/// their IDs and targets as they are written.
///
/// A part of that name in the other package is shared when it has the same content type, the same bytes and the same
/// relationships, which are compared by ID, type, mode and resolved target. If it differs in anything, or if a part
/// cannot be created, nothing is copied and the report names every such part. Relationships of the package are
/// not copied: where a part is to be found from is for the caller to decide.
/// @param from open for reading; not the same as `to`.
/// @param to open in read-write mode.
/// @throws PartNotFound, PackageNotOpen, PackageReadOnly, PackageCreateOnly
/// @throws InvalidRelationshipContent when the relationships part of a part that is copied was not read whole.
/// @throws PartCreateFailed, InvalidRelationshipTarget, opc::Exception for a failure half-way, with the code of the
///         store: then the other package is to be closed with `discard`.
OPCRAFT_API CopyReport copyParts(const model::Package& from, model::Package& to,
                                 const std::vector<model::PartName>& names, const CopyOptions& options = {});

} // namespace opc::edit
