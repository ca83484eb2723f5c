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

/// A relationship whose target was written anew.
struct ChangedTarget {
    std::u16string source; ///< a part name as it is after the change, "/" for the package
    std::u16string id;
    std::u16string type;
    std::u16string former; ///< the target as it stood in the relationships part
    std::u16string target;
};

/// What a move changed beside the part.
struct MoveReport {
    std::vector<ChangedTarget> targets; ///< the package first, then the parts by name; by ID in each
};

/// Gives a part another name with everything that leads to it: the part, its relationships part, and every internal
/// relationship of the package and its parts. A relationship leads to the part when its resolved target is the name of
/// the part (ECMA-376-2 §6.5), or when it is the name of no part, but of this one once escapes, case, backslashes and
/// what else some programs ignore are left out. Each keeps its ID, type, query and fragment; a relative target stays
/// relative and an absolute one absolute; a target that leads to the part by its new name as it stands is not changed.
/// The part's own relationships lead where they led, and so do those to parts that do not exist.
///
/// References inside of the content of parts are not changed, and neither are entries of relationships parts that are
/// no relationships (`RelationshipSource::getRawRelationships`) and relationships of items that are not parts.
/// Signatures that cover what changes do not hold any longer.
///
/// All checks come before the change but for those of the store; after `PartCreateFailed` the package is to be closed
/// with `discard`.
/// @param newName may differ from the old name in case alone.
/// @throws PartCreateFailed for the signature origin, which has one relationship by which signatures are found.
/// @throws InvalidRelationshipContent when a relationships part would exceed the limits for XML.
/// @throws what `Package::renamePart` throws.
OPCRAFT_API MoveReport movePart(model::Package& package, const model::PartName& name, const model::PartName& newName);

} // namespace opc::edit
