// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ContentTypesReader.hpp"

#include "storage/Failure.hpp"
#include "storage/zip/ItemNames.hpp"
#include "storage/zip/XmlElements.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/FoldedNames.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>

#include <utility>

namespace opc::storage {

namespace {

constexpr std::string_view DEFAULT_ELEMENT = "http://schemas.openxmlformats.org/package/2006/content-types Default";
constexpr std::string_view OVERRIDE_ELEMENT = "http://schemas.openxmlformats.org/package/2006/content-types Override";

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
    std::unordered_map<std::u16string, std::uint32_t> types_; ///< the index of each
};

} // namespace

ContentTypes::ContentTypes(detail::ContentTypeTable table) : table_(std::move(table)) {
    for (const detail::ContentTypeEntry& entry : table_.entries) {
        const auto [known, isNew] = (entry.isDefault ? defaults_ : overrides_).try_emplace(entry.name, &entry);
        if (!isNew)
            duplicates_.emplace_back(known->second, &entry);
    }
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
    const auto override = overrides_.find(partName);
    if (override != overrides_.end())
        return override->second;
    const auto entry = defaults_.find(detail::getExtension(partName));
    return entry == defaults_.end() ? nullptr : entry->second;
}

const std::u16string* ContentTypes::find(std::u16string_view partName) const {
    const detail::ContentTypeEntry* entry = findEntry(partName);
    return entry ? &typeOf(*entry) : nullptr;
}

/// The content type for readers that are sensitive to case, and do or do not know prefixes.
const std::u16string* ContentTypes::findExact(std::u16string_view partName, bool knowsPrefixes) const {
    const auto findIn = [&](const Map& entries, std::u16string_view name) {
        const auto entry = entries.find(name);
        const bool isExact =
            entry != entries.end() && (knowsPrefixes || !entry->second->hasPrefix) && entry->first == name;
        return isExact ? &typeOf(*entry->second) : nullptr;
    };
    const std::u16string* named = findIn(overrides_, partName);
    return named ? named : findIn(defaults_, detail::getExtension(partName));
}

void ContentTypes::addDuplicate(RuleId rule, const detail::ContentTypeEntry& first,
                                const detail::ContentTypeEntry& other, const ZipFaults& faults) const {
    const std::string what = "two content types for one name: " + shown(first) + ", and " + shown(other);
    faults.add({rule, std::string(CONTENT_TYPES_ITEM), what, {}, detail::toUTF8String(other.name, false)});
}

void ContentTypes::checkDuplicates(const ZipFaults& faults) const {
    for (const auto& [first, other] : duplicates_)
        addDuplicate(RuleId::DuplicateContentType, *first, *other, faults);
    for (const Map* entries : {&defaults_, &overrides_}) {
        std::unordered_map<std::string, const detail::ContentTypeEntry*> folded;
        for (const auto& [name, entry] : *entries) {
            const auto [known, isNew] = folded.try_emplace(detail::foldName(detail::toUTF8String(name, false)), entry);
            if (!isNew)
                addDuplicate(RuleId::NamesThatMeet, *known->second, *entry, faults);
        }
    }
}

void ContentTypes::checkCase(std::u16string_view partName, const ZipFaults& faults) const {
    const detail::ContentTypeEntry* entry = findEntry(partName);
    if (entry && !entry->hasPrefix && entry->name == (entry->isDefault ? detail::getExtension(partName) : partName))
        return; // the same for every reader
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
