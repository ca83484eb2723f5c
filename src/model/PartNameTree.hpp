// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/model/PartName.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace opc::model {

/// The names of the parts of a package as a tree of segments, to find out whether one name contains another as a path
/// (ECMA-376-2 §6.2.2). Takes memory and time linear in the names, however deep they are. ASCII letters are folded.
class PartNameTree {
public:
    enum class Derivation {
        None,
        Subset,   ///< the name is a directory of parts
        Superset, ///< a part is a directory of the name
    };

    /// The form in which names are compared.
    static std::u16string keyOf(const PartName& name);

    /// Changes nothing when it throws for lack of memory.
    void add(const std::u16string& key);
    /// Allocates nothing.
    /// @throws PartDeleteFailed when the name is missing, which would be an error in this library.
    void remove(std::u16string_view key);
    /// @param leftOut a name in the tree that does not count; empty: all do.
    Derivation getDerivation(std::u16string_view key, std::u16string_view leftOut = {}) const;
    void clear() noexcept { nodes_.clear(); }

private:
    struct Node {
        std::uint64_t id;          ///< by which its children refer to it
        unsigned long parts = 0;   ///< 1 when the path so far is itself a name
        unsigned long parents = 0; ///< the number of names that continue below this node
    };
    struct Less {
        using is_transparent = void;
        template <class A, class B>
        bool operator()(const A& a, const B& b) const noexcept {
            return a.first != b.first ? a.first < b.first
                                      : std::u16string_view(a.second) < std::u16string_view(b.second);
        }
    };
    using Nodes = std::map<std::pair<std::uint64_t, std::u16string>, Node, Less>;

    void throwIfInconsistent(std::u16string_view key) const;

    static constexpr std::uint64_t root = 0;

    Nodes nodes_;
    std::uint64_t nextID_ = 1;
};

} // namespace opc::model
