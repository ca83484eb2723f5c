// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ZipItems.hpp"

#include "storage/Failure.hpp"
#include "storage/zip/ContentTypesReader.hpp"

#include <opc/core/PartNames.hpp>

#include <algorithm>
#include <utility>

namespace opc::storage {

namespace {

/// Takes the one entry for `place` out of a map that finds places by name.
template <typename Map>
void erase(Map& map, const typename Map::key_type& name, ZipItems::Entries::iterator place) {
    const auto [first, last] = map.equal_range(name);
    const auto found = std::find_if(first, last, [&](const auto& entry) { return entry.second == place; });
    if (found != last) {
        map.erase(found);
    }
}

void throwIfSamePart(ZipItems& items, const std::string& label) {
    std::map<std::u16string_view, const ZipEntry*, CaselessLess> parts;
    for (const ZipEntry& entry : items.all()) {
        if (entry.kind != ZipItemKind::Part) {
            continue;
        }
        const auto [place, added] = parts.try_emplace(entry.partName, &entry);
        if (!added) {
            fail(Errc::bad_message, label + ": the items " + inQuotes(place->second->name) + " and " +
                                        inQuotes(entry.name) + " are the same part");
        }
    }
}

/// Relationships are judged by the model, unless what they belong to is kept from it.
bool isRelationshipsOfOther(ZipItems& items, const ZipEntry& entry) {
    const std::u16string source = detail::getSourcePartName(entry.partName);
    return items.findPlace(source) && !items.findPart(source);
}

} // namespace

ZipEntry& ZipItems::add(ZipEntry entry, std::optional<Entries::iterator> before) {
    const auto place = entries_.insert(before.value_or(entries_.end()), std::move(entry));
    try {
        byItemName_.emplace(place->name, place);
        if (!place->partName.empty()) {
            byPartName_.emplace(place->partName, place);
        }
    } catch (...) {
        erase(byItemName_, place->name, place);
        entries_.erase(place);
        throw;
    }
    if (place->kind == ZipItemKind::ContentTypes) {
        contentTypes_ = &*place;
    }
    return *place;
}

ZipEntry* ZipItems::findItem(const std::string& name) {
    const auto [first, last] = byItemName_.equal_range(name);
    ZipEntry* found = nullptr;
    for (auto place = first; place != last; ++place) {
        ZipEntry& entry = *place->second;
        found = !found || entry.index < found->index ? &entry : found;
    }
    return found;
}

ZipEntry* ZipItems::findPart(std::u16string_view name) {
    const auto [first, last] = byPartName_.equal_range(std::u16string(name));
    const auto found =
        std::find_if(first, last, [](const auto& entry) { return entry.second->kind == ZipItemKind::Part; });
    return found == last ? nullptr : &*found->second;
}

ZipEntry* ZipItems::findPlace(std::u16string_view partName) {
    const auto found = byPartName_.find(std::u16string(partName));
    return found == byPartName_.end() ? nullptr : &*found->second;
}

void ZipItems::removePart(ZipEntry& part) {
    const auto [first, last] = byPartName_.equal_range(part.partName);
    const auto found = std::find_if(first, last, [&](const auto& entry) { return &*entry.second == &part; });
    const auto place = found->second;
    erase(byItemName_, place->name, place);
    byPartName_.erase(found);
    entries_.erase(place);
}

void findParts(ZipItems& items, const ContentTypes* types, const std::string& label) {
    for (ZipEntry& entry : items.all()) {
        if (entry.partName.empty()) {
            continue;
        }
        const auto type = types ? types->find(entry.partName) : std::nullopt;
        entry.contentType = type.value_or(u"");
        entry.kind =
            type || !types || detail::isRelationshipsPartName(entry.partName) ? ZipItemKind::Part : ZipItemKind::Other;
    }
    if (!types) {
        return;
    }
    for (ZipEntry& entry : items.all()) {
        if (entry.kind == ZipItemKind::Part && detail::isRelationshipsPartName(entry.partName) &&
            isRelationshipsOfOther(items, entry)) {
            entry.kind = ZipItemKind::Other;
        }
    }
    throwIfSamePart(items, label);
}

} // namespace opc::storage
