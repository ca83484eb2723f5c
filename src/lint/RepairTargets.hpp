// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/URI.hpp>

#include "lint/RepairWork.hpp"
#include "model/relationships/RelationshipRules.hpp"

#include <optional>
#include <string>

namespace opc::lint {

/// The targets of the relationships of one source.
class RepairTargets {
public:
    /// @param source the path of the source; "/" for the package.
    RepairTargets(const RepairSnapshot& snapshot, const std::u16string& source);

    /// Whether a reader takes the target.
    bool isAccepted(const std::string& target, bool isExternal) const;

    /// The part that an internal target leads to; null for none.
    RepairItem* find(const std::string& target) const;

    /// An internal target of which a reader finds the part, which programs that are lenient find by `target`: written
    /// as the part is named, with slashes, without blanks around it.
    /// @return `target` itself, when it leads there; none when there is no such part.
    std::optional<std::string> findReachable(const std::string& target) const;

private:
    std::optional<std::string> resolve(const std::string& target) const;
    std::string inCaseOf(const std::string& target, const RepairItem& item) const;

    const RepairSnapshot& snapshot_;
    model::URI source_;
    mutable model::RelationshipRules rules_;
};

} // namespace opc::lint
