// SPDX-License-Identifier: Apache-2.0
#include "lint/RepairSnapshot.hpp"

#include <opc/core/Characters.hpp>
#include <opc/core/Exception.hpp>
#include <opc/core/ItemNames.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>

#include "lint/Examination.hpp"

#include <algorithm>
#include <utility>

namespace opc::lint {

namespace {

/// What precedes "/[0].piece" or "/[0].last.piece" in the name of a piece; nothing for another name.
std::optional<std::string> wholeOf(const std::string& name) {
    const std::size_t slash = name.rfind("/[");
    const std::size_t end = slash == name.npos ? slash : name.find_first_not_of("0123456789", slash + 2);
    if (end == name.npos || end == slash + 2)
        return std::nullopt;
    const std::u16string rest = toString(name.substr(end), false);
    return isSame(rest, u"].piece") || isSame(rest, u"].last.piece") ? std::optional(name.substr(0, slash))
                                                                     : std::nullopt;
}

} // namespace

RepairItem::RepairItem(std::optional<std::size_t> position, std::string name) : position_(position) {
    setName(std::move(name));
}

void RepairItem::setName(std::string name) {
    name_ = std::move(name);
    const auto whole = wholeOf(name_);
    isPiece_ = whole.has_value();
    partName_ = detail::toItemURI(whole ? *whole : name_);
    if (isContentTypes() || !detail::isPartName(partName_))
        partName_.clear();
}

bool RepairItem::isContentTypes() const {
    return isSame(toString(name_, false), toString(CONTENT_TYPES_ITEM));
}

std::string RepairItem::getPlace() const {
    return partName_.empty() || isPiece_ ? name_ : toText(partName_);
}

RepairSnapshot::RepairSnapshot(interfaces::IPhysicalItems& store, const Limits& limits)
    : store_(store), limits_(limits) {
    for (auto& item : store.getStoredItems()) {
        sizes_.push_back(item.size);
        items_.push_back(std::make_unique<RepairItem>(items_.size(), std::move(item.name)));
    }
}

void RepairSnapshot::add(RepairItem& item) {
    if (item.isDeleted || item.getPartName().empty())
        return;
    const auto [found, isNew] = byName_.emplace(toLowerASCIIString(item.getPartName()), &item);
    if (isNew || (item.isPiece() && found->second != nullptr && found->second->isPiece()))
        return;
    item.isAmbiguous = true;
    if (found->second != nullptr)
        found->second->isAmbiguous = true;
    found->second = nullptr;
}

void RepairSnapshot::index() {
    for (const auto& item : items_)
        add(*item);
}

RepairItem* RepairSnapshot::find(std::u16string_view name) const {
    const auto found = byName_.find(toLowerASCIIString(name));
    return found == byName_.end() ? nullptr : found->second;
}

void RepairSnapshot::rename(RepairItem& item, const std::string& name, RuleId rule) {
    if (!item.getPartName().empty() && find(item.getPartName()) == &item)
        byName_.erase(toLowerASCIIString(item.getPartName()));
    item.setName(name);
    item.renamedFor = rule;
    add(item);
}

RepairItem& RepairSnapshot::create(const std::string& name, const std::string& content) {
    items_.push_back(std::make_unique<RepairItem>(std::nullopt, name));
    RepairItem& item = *items_.back();
    item.document =
        std::make_unique<RepairDocument>(std::vector<unsigned char>(content.begin(), content.end()), limits_);
    add(item);
    return item;
}

RepairDocument* RepairSnapshot::read(RepairItem& item) {
    if (!item.document && !item.isPiece())
        if (auto bytes = readBytes(item, limits_.xmlSize))
            item.document = std::make_unique<RepairDocument>(std::move(*bytes), limits_);
    return item.document.get();
}

std::optional<std::vector<unsigned char>> RepairSnapshot::readBytes(const RepairItem& item, std::uint64_t maximum) {
    const std::size_t position = item.getPosition().value();
    if (sizes_[position] > maximum)
        return std::nullopt;
    try {
        return readAll(*store_.getStoredItemInputStream(position));
    } catch (const Exception& e) {
        if (e.code() == boost::system::errc::bad_message || e.code() == boost::system::errc::not_supported)
            return std::nullopt;
        throw;
    }
}

std::vector<interfaces::IPhysicalItems::Change> RepairSnapshot::getChanges() const {
    std::vector<interfaces::IPhysicalItems::Change> changes;
    for (const auto& item : items_) {
        const bool isWritten = item->document && (item->document->isChanged() || !item->getPosition());
        if (!item->isDeleted && !item->renamedFor && !isWritten)
            continue;
        auto& change = changes.emplace_back();
        change.position = item->getPosition();
        change.name = item->getName();
        change.isDeleted = item->isDeleted;
        if (isWritten && !item->isDeleted)
            change.content = item->document->toBytes();
    }
    return changes;
}

} // namespace opc::lint
