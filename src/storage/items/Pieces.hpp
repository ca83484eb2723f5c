// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Interleaved items: a part whose bytes are spread over items "name/[0].piece", "name/[1].piece", … up to
/// "name/[n].last.piece" (ECMA-376-2 §7.2.4, §7.3.4).
namespace opc::storage {

struct PieceName {
    std::string_view prefix; ///< the name of the whole
    std::uint64_t number;
    bool isLast;
};

/// @return nothing for an item whose name is not that of a piece.
std::optional<PieceName> parsePieceName(std::string_view itemName);

/// The pieces of a package, grouped by their whole.
class PieceGroups {
public:
    /// @param index of the item in the directory.
    /// @return the index of another piece with the same number; nothing for none.
    std::optional<std::uint64_t> add(const PieceName& name, std::uint64_t index);

    /// Whether one of the pieces of a whole is there twice.
    bool hasDuplicate(std::string_view prefix) const;

    /// Whether no piece is missing or there twice, and none follows the last one.
    bool isComplete(std::string_view prefix) const;

    /// The indexes of all pieces in their order.
    /// @param prefix of a piece that was added.
    std::vector<std::uint64_t> getPieces(std::string_view prefix) const;

private:
    struct Group {
        std::map<std::uint64_t, std::uint64_t> indexes; ///< by number
        std::optional<std::uint64_t> last;              ///< number
        bool hasTwoLast = false;
        bool hasDuplicate = false;
    };
    std::map<std::string, Group> groups_; ///< by prefix in lower case
};

} // namespace opc::storage
