// SPDX-License-Identifier: Apache-2.0
#include "storage/items/ZipItems.hpp"

#include "storage/Failure.hpp"
#include "storage/items/ContentTypesReader.hpp"
#include "storage/items/ItemNames.hpp"
#include "storage/items/MeetingNames.hpp"
#include "storage/items/Pieces.hpp"
#include "storage/items/ZipFaults.hpp"

#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <utility>

namespace opc::storage {

const ZipEntry::Rare ZipEntry::NO_RARE;

namespace {

bool isFolder(const std::string& itemName) {
    return itemName.ends_with('/') || itemName.ends_with('\\');
}

/// What two items of the same part break.
RuleId findRule(const ZipEntry& a, const ZipEntry& b) {
    if (a.pieces().empty() != b.pieces().empty())
        return RuleId::NoMixedInterleaving;
    if (a.name == b.name)
        return RuleId::NoDuplicateItem;
    return a.partName() == b.partName() ? RuleId::OnePartPerName : RuleId::NoEquivalentPartNames;
}

} // namespace

std::string explainOther(const ZipEntry& entry) {
    if (!entry.reason().empty())
        return entry.reason();
    if (parsePieceName(entry.name))
        return "a piece of a part whose pieces are not complete";
    if (entry.partName().empty())
        return explainItemName(entry.name);
    if (detail::isRelationshipsPartName(entry.partName()))
        return "the relationships of an item that is not a part";
    const std::u16string extension = detail::getExtension(entry.partName());
    return extension.empty() ? "no content type, and no extension"
                             : "no content type for the extension " + inQuotes(detail::toUTF8String(extension, false));
}

/// Adds an entry to the index by part name, or removes it.
void ZipItems::index(Entries::iterator entry) {
    byItemName_.clear();
    if (entry->partName().empty())
        return;
    try {
        // Items often come in the order of their names; of equal ones, the last goes behind the others.
        const bool isNext = next_ != byPartName_.end() && CaselessLess()(entry->partName(), next_->first);
        const auto hint = isNext ? next_ : byPartName_.end();
        next_ = std::next(byPartName_.emplace_hint(hint, entry->partName(), entry));
    } catch (...) {
        entries_.erase(entry);
        throw;
    }
}

ZipEntry* ZipItems::findItem(std::string_view name) {
    if (byItemName_.empty()) {
        std::map<std::string_view, ZipEntry*> index;
        for (ZipEntry& entry : entries_)
            index.try_emplace(entry.name, &entry);
        byItemName_.swap(index);
    }
    const auto found = byItemName_.find(name);
    return found == byItemName_.end() ? nullptr : found->second;
}

ZipEntry* ZipItems::findPart(std::u16string_view name) {
    const auto [first, last] = byPartName_.equal_range(name);
    const auto found =
        std::find_if(first, last, [](const auto& entry) { return entry.second->kind == ZipItemKind::Part; });
    return found == last ? nullptr : &*found->second;
}

ZipEntry* ZipItems::findByPartName(std::u16string_view partName) {
    const auto found = byPartName_.find(partName);
    return found == byPartName_.end() ? nullptr : &*found->second;
}

void ZipItems::remove(ZipEntry& item) {
    const auto [first, last] = byPartName_.equal_range(item.partName());
    const auto found = std::find_if(first, last, [&](const auto& entry) { return &*entry.second == &item; });
    const auto entry = found->second;
    if (!foldedOthers_.empty())
        for (const std::string& name : foldedNames(item.name))
            if (const auto folded = foldedOthers_.find(name); folded != foldedOthers_.end() && folded->second == &item)
                foldedOthers_.erase(folded);
    byItemName_.clear();
    next_ = byPartName_.end();
    byPartName_.erase(found);
    entries_.erase(entry);
}

void ZipItems::leaveOutContentTypes(const std::string& reason) {
    contentTypes_->kind = ZipItemKind::Other;
    contentTypes_->setReason(reason);
    contentTypes_ = nullptr;
}

void ZipItems::findParts(const ContentTypes* types, ZipOptions::Take take, const ZipFaults& faults) {
    std::map<const std::u16string*, std::shared_ptr<const std::u16string>> shared;
    areTypesExact_ = types != nullptr;
    auto next = types ? types->getOverrides().begin() : ContentTypes::Index::const_iterator();
    for (const auto& [name, position] : byPartName_) {
        ZipEntry& entry = *position;
        const detail::ContentTypeEntry* const known = types ? types->findNext(name, next) : nullptr;
        const std::u16string* const type = known ? &types->typeOf(*known) : nullptr;
        areTypesExact_ &= known == nullptr || ContentTypes::isExact(*known, name);
        const bool isPart = type || !types || detail::isRelationshipsPartName(name);
        entry.kind = isPart ? ZipItemKind::Part : ZipItemKind::Other;
        if (!type)
            continue;
        std::shared_ptr<const std::u16string>& text = shared[type];
        if (!text)
            text = std::make_shared<const std::u16string>(*type);
        entry.bytes.setContentType(text);
    }
    if (!types)
        return;
    std::set<std::u16string_view, CaselessLess> names; // of which there may be many items
    for (const ZipEntry& entry : entries_)
        if (entry.kind == ZipItemKind::Other && names.insert(entry.partName()).second)
            hideRelationshipsOf(entry.partName());
    leaveOutSameParts(take, faults);
    noteOthers();
}

void ZipItems::noteOthers() {
    for (const ZipEntry& entry : entries_) {
        if (entry.kind == ZipItemKind::Part)
            continue;
        if (!parsePieceName(entry.name)) { // in the place of pieces that are not complete, the part may be created
            for (std::string& name : foldedNames(entry.name)) {
                const auto [noted, isNew] = foldedOthers_.try_emplace(std::move(name), &entry);
                if (!isNew && isFolder(noted->second->name))
                    noted->second = &entry;
            }
        }
        if (entry.kind != ZipItemKind::Other)
            continue;
        const std::u16string& name = entry.partName();
        otherExtensions_.insert(detail::getExtension(name.empty() ? toString(entry.name, false) : name));
    }
}

const ZipEntry* ZipItems::findMeeting(std::string_view itemName) const {
    if (foldedOthers_.empty()) // as in most packages
        return nullptr;
    for (const std::string& name : foldedNames(itemName))
        if (const ZipEntry* const meeting = findFolded(name))
            return meeting;
    return nullptr;
}

const ZipEntry* ZipItems::findFolded(const std::string& name) const {
    const auto same = foldedOthers_.find(name);
    if (same != foldedOthers_.end())
        return same->second;
    const auto below = foldedOthers_.lower_bound(name + '/');
    if (below != foldedOthers_.end() && below->first.starts_with(name + '/'))
        return below->second;
    for (std::size_t slash = name.find('/'); slash != std::string::npos; slash = name.find('/', slash + 1)) {
        const auto above = foldedOthers_.find(name.substr(0, slash));
        if (above != foldedOthers_.end() && !isFolder(above->second->name))
            return above->second;
    }
    return nullptr;
}

/// Relationships are validated by the model, unless their source is not passed to it; this also holds for the
/// relationships of such relationships parts.
void ZipItems::hideRelationshipsOf(std::u16string name) {
    while (findByPartName(name) && !findPart(name)) {
        name = detail::getRelationshipsPartName(name);
        const auto [first, last] = byPartName_.equal_range(name);
        std::for_each(first, last, [](const auto& entry) {
            if (detail::isRelationshipsPartName(entry.first))
                entry.second->kind = ZipItemKind::Other;
        });
    }
}

void ZipItems::takeAsPart(ZipEntry& entry) {
    entry.kind = ZipItemKind::Part;
    entry.setReason("");
}

/// Equal names are adjacent, in the order of the file. Each item names another one of the same part.
void ZipItems::leaveOutSameParts(ZipOptions::Take take, const ZipFaults& faults) {
    ZipEntry* last = nullptr;
    std::vector<ZipEntry*> same;
    for (const auto& [name, position] : byPartName_) {
        ZipEntry& entry = *position;
        if (entry.kind != ZipItemKind::Part)
            continue;
        if (last && caselessCompare(last->partName(), name) == 0) {
            entry.setReason("the same part as the item " + inQuotes(last->name));
            faults.add({findRule(*last, entry), entry.name, entry.reason(),
                        "the items " + inQuotes(last->name) + " and " + inQuotes(entry.name) + " are the same part"});
            if (last->reason().empty())
                last->setReason("the same part as the item " + inQuotes(entry.name));
            same.insert(same.end(), {last, &entry});
        }
        last = &entry;
    }
    for (ZipEntry* entry : same) {
        entry->kind = ZipItemKind::Other;
        entry->isOneOfSeveral = true;
    }
    for (std::size_t i = 1; i < same.size(); i += 2) { // the names of each pair are the same
        const bool isFirst = i == 1 || same[i - 1] != same[i - 2];
        const bool isLast = i + 1 == same.size() || same[i + 1] != same[i];
        if (take == ZipOptions::Take::First && isFirst)
            takeAsPart(*same[i - 1]);
        else if (take == ZipOptions::Take::Last && isLast)
            takeAsPart(*same[i]);
        else if (take == ZipOptions::Take::Neither && isFirst)
            hideRelationshipsOf(same[i]->partName());
    }
}

} // namespace opc::storage
