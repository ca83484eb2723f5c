// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>
#include <opc/core/Rules.hpp>
#include <opc/core/interfaces/IPhysicalItems.hpp>

#include "lint/RepairDocument.hpp"

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace opc::lint {

/// The item that holds the content types stream (ECMA-376-2 §7.3.7).
inline constexpr const char* CONTENT_TYPES_ITEM = "[Content_Types].xml";

/// A stored item as a repair leaves it.
class RepairItem {
public:
    /// @param position in the store; none for a new item.
    RepairItem(std::optional<std::size_t> position, std::string name);

    const std::optional<std::size_t>& getPosition() const noexcept { return position_; }
    const std::string& getName() const noexcept { return name_; }
    /// Empty when it is not a part by its name. That of a piece is the name of the part.
    const std::u16string& getPartName() const noexcept { return partName_; }
    bool isPiece() const noexcept { return isPiece_; }
    bool isFolder() const noexcept { return !name_.empty() && (name_.back() == '/' || name_.back() == '\\'); }
    bool isContentTypes() const;
    /// As findings name it.
    std::string getPlace() const;

    bool isDeleted = false;
    bool isAmbiguous = false; ///< there is another one for the same part
    std::unique_ptr<RepairDocument> document{};
    std::optional<RuleId> renamedFor{}; ///< the rule that its old name broke

private:
    friend class RepairSnapshot;
    void setName(std::string name);

    std::optional<std::size_t> position_;
    std::string name_{};
    std::u16string partName_{};
    bool isPiece_ = false;
};

/// The items of a package, of which the documents that a repair may change are read when they are asked for.
class RepairSnapshot {
public:
    RepairSnapshot(interfaces::IPhysicalItems& store, const Limits& limits);

    std::vector<std::unique_ptr<RepairItem>>& getItems() noexcept { return items_; }
    const Limits& getLimits() const noexcept { return limits_; }

    /// Finds parts by their names from now on. Items for one part are not found.
    void index();
    /// @param name in any case. @return null for none.
    RepairItem* find(std::u16string_view name) const;
    void rename(RepairItem& item, const std::string& name, RuleId rule);
    RepairItem& create(const std::string& name, const std::string& content);

    /// The document in an item, or null when it is damaged, too large or in pieces.
    RepairDocument* read(RepairItem& item);
    /// @return none when the item is damaged or has more bytes.
    std::optional<std::vector<unsigned char>> readBytes(const RepairItem& item, std::uint64_t maximum);

    std::vector<interfaces::IPhysicalItems::Change> getChanges() const;

private:
    void add(RepairItem& item);

    interfaces::IPhysicalItems& store_;
    const Limits& limits_;
    std::vector<std::uint64_t> sizes_;
    std::vector<std::unique_ptr<RepairItem>> items_;
    std::map<std::u16string, RepairItem*> byName_; ///< in lower case; null where there are several
};

} // namespace opc::lint
