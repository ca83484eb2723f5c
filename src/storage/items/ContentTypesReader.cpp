// SPDX-License-Identifier: Apache-2.0
#include "storage/items/ContentTypesReader.hpp"

#include "storage/CaselessLess.hpp"
#include "storage/Failure.hpp"
#include "storage/items/ItemNames.hpp"
#include "storage/items/XmlElements.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/FoldedNames.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <map>
#include <utility>

namespace opc::storage {

namespace {

constexpr std::string_view DEFAULT_ELEMENT = "http://schemas.openxmlformats.org/package/2006/content-types Default";
constexpr std::string_view OVERRIDE_ELEMENT = "http://schemas.openxmlformats.org/package/2006/content-types Override";

std::u16string_view nameOf(const detail::ContentTypeEntry* entry) {
    return entry->name;
}

std::string shownEntry(std::u16string_view name, std::u16string_view contentType) {
    return inQuotes(detail::toUTF8String(name, false)) + " is " + inQuotes(detail::toUTF8String(contentType, false));
}

/// Collects entries; where they stand is not told.
class TableBuilder {
public:
    void add(bool isDefault, const XmlElement& element) {
        std::u16string name = element.attribute(isDefault ? "Extension" : "PartName");
        std::u16string type = element.attribute("ContentType");
        const auto [known, isNew] = types_.try_emplace(type, static_cast<std::uint32_t>(table_.types.size()));
        if (isNew)
            table_.types.push_back(std::move(type));
        table_.entries.push_back({isDefault, element.hasPrefix(), std::move(name), known->second, 0, 0});
    }

    detail::ContentTypeTable take() { return std::move(table_); }

private:
    detail::ContentTypeTable table_;
    std::map<std::u16string, std::uint32_t> types_; ///< the index of each
};

} // namespace

ContentTypes::ContentTypes(detail::ContentTypeTable table) : table_(std::move(table)) {
    defaults_ = makeIndex(true);
    overrides_ = makeIndex(false);
    const auto other = [](const auto& duplicate) { return duplicate.second; };
    std::ranges::sort(duplicates_, {}, other);
}

ContentTypes::Index ContentTypes::makeIndex(bool ofDefaults) {
    Index all;
    for (const detail::ContentTypeEntry& entry : table_.entries)
        if (entry.isDefault == ofDefaults)
            all.push_back(&entry);
    std::ranges::stable_sort(all, CaselessLess(), nameOf);
    Index first;
    for (const detail::ContentTypeEntry* entry : all)
        if (first.empty() || CaselessLess()(first.back()->name, entry->name))
            first.push_back(entry);
        else
            duplicates_.emplace_back(first.back(), entry);
    return first;
}

const detail::ContentTypeEntry* ContentTypes::findIn(const Index& index, std::u16string_view name) {
    const auto found = std::ranges::lower_bound(index, name, CaselessLess(), nameOf);
    return found == index.end() || CaselessLess()(name, (*found)->name) ? nullptr : *found;
}

std::string ContentTypes::shown(const detail::ContentTypeEntry& entry) const {
    return shownEntry(entry.name, typeOf(entry));
}

detail::ContentTypeTable ContentTypes::release() && {
    defaults_.clear();
    overrides_.clear();
    return std::move(table_);
}

const detail::ContentTypeEntry* ContentTypes::findEntry(std::u16string_view partName) const {
    const detail::ContentTypeEntry* const override = findIn(overrides_, partName);
    return override ? override : findIn(defaults_, detail::getExtension(partName));
}

const detail::ContentTypeEntry* ContentTypes::findNext(std::u16string_view partName,
                                                       Index::const_iterator& next) const {
    while (next != overrides_.end() && CaselessLess()((*next)->name, partName))
        ++next;
    const bool isFound = next != overrides_.end() && !CaselessLess()(partName, (*next)->name);
    return isFound ? *next : findIn(defaults_, detail::getExtension(partName));
}

bool ContentTypes::isExact(const detail::ContentTypeEntry& entry, std::u16string_view partName) {
    return !entry.hasPrefix && entry.name == (entry.isDefault ? detail::getExtension(partName) : partName);
}

const std::u16string* ContentTypes::find(std::u16string_view partName) const {
    const detail::ContentTypeEntry* entry = findEntry(partName);
    return entry ? &typeOf(*entry) : nullptr;
}

/// The content type for readers that are sensitive to case, and do or do not know prefixes.
const std::u16string* ContentTypes::findExact(std::u16string_view partName, bool knowsPrefixes) const {
    const auto find = [&](const Index& entries, std::u16string_view name) {
        const detail::ContentTypeEntry* const entry = findIn(entries, name);
        const bool isExact = entry && (knowsPrefixes || !entry->hasPrefix) && entry->name == name;
        return isExact ? &typeOf(*entry) : nullptr;
    };
    const std::u16string* named = find(overrides_, partName);
    return named ? named : find(defaults_, detail::getExtension(partName));
}

void ContentTypes::addDuplicate(RuleId rule, const detail::ContentTypeEntry& first,
                                const detail::ContentTypeEntry& other, const ZipFaults& faults) const {
    const std::string what = "two content types for one name: " + shown(first) + ", and " + shown(other);
    faults.add({rule, std::string(CONTENT_TYPES_ITEM), what, {}, detail::toUTF8String(other.name, false)});
}

void ContentTypes::checkDuplicates(const ZipFaults& faults) const {
    for (const auto& [first, other] : duplicates_)
        addDuplicate(RuleId::DuplicateContentType, *first, *other, faults);
    for (const Index* entries : {&defaults_, &overrides_}) {
        std::vector<std::pair<std::string, const detail::ContentTypeEntry*>> folded;
        folded.reserve(entries->size());
        for (const detail::ContentTypeEntry* entry : *entries)
            folded.emplace_back(detail::foldName(detail::toUTF8String(entry->name, false)), entry);
        std::ranges::sort(folded);
        for (std::size_t i = 1, first = 0; i < folded.size(); ++i)
            if (folded[i].first != folded[first].first)
                first = i;
            else
                addDuplicate(RuleId::NamesThatMeet, *folded[first].second, *folded[i].second, faults);
    }
}

void ContentTypes::checkCase(std::u16string_view partName, const ZipFaults& faults) const {
    const detail::ContentTypeEntry* entry = findEntry(partName);
    if (entry && isExact(*entry, partName))
        return;
    const std::u16string* type = entry ? &typeOf(*entry) : nullptr;
    const std::u16string* exact = findExact(partName, false);
    if (!exact || (type && *exact == *type))
        exact = findExact(partName, true);
    if (type && exact && *type != *exact) {
        faults.add({RuleId::ContentTypeCase,
                    std::string(CONTENT_TYPES_ITEM),
                    shownEntry(partName, *type) + ", but for readers that are sensitive to case or prefixes, " +
                        shownEntry(partName, *exact),
                    {},
                    detail::toUTF8String(partName, false)});
    }
}

std::optional<ContentTypes> readContentTypes(ItemReader& stream, std::uint64_t maximumSize) {
    TableBuilder table;
    const auto take = [&table](const XmlElement& element) {
        if (element.name() == DEFAULT_ELEMENT || element.name() == OVERRIDE_ELEMENT)
            table.add(element.name() == DEFAULT_ELEMENT, element);
    };
    try {
        return forEachElement(stream, maximumSize, take) ? std::optional<ContentTypes>(table.take()) : std::nullopt;
    } catch (const Exception&) {
        return std::nullopt;
    }
}

} // namespace opc::storage
