// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/relationships/RelationshipSource.hpp>

#include <cstdint>
#include <optional>
#include <set>
#include <string>

namespace opcraft {

class OpenPackage;

/// The IDs of relationships that the content of a part mentions, as whole words of any text in it: where a format
/// refers to a relationship is not known here.
struct ContentIds {
    std::set<std::string> found{};   ///< of those that were sought
    std::uint64_t highestNumber = 0; ///< of all words "rId1", "rId2", …
};

/// Reads the content of a source; the package has none.
/// @param source a part name, "/" for the package.
/// @throws opc::Exception when it cannot be read.
ContentIds findContentIds(OpenPackage& package, const std::string& source, const std::set<std::string>& sought);

/// The ID for a new relationship of a source instead of a generated one, when its content mentions that: else the new
/// relationship would be taken for one that was there before.
/// @return nothing when the generated one is good.
std::optional<std::u16string> findUnmentionedId(OpenPackage& package, const opc::model::RelationshipSource& source,
                                                const std::u16string& generated);

} // namespace opcraft
