// SPDX-License-Identifier: Apache-2.0
#include <opc/core/ContentTypePattern.hpp>
#include <opc/core/ItemNames.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>

#include "lint/Examination.hpp"
#include "lint/RepairWork.hpp"
#include "model/Reading.hpp"

#include <algorithm>
#include <map>

namespace opc::lint {

namespace {

std::string relationshipsType() {
    return toText(model::PackageHelper::getRelationshipContentType().toString());
}

std::string typeOfExtension(const std::string& extension) {
    return contentTypeOfExtension(toString(extension, false));
}

/// The type of a part by its name alone.
std::string typeOfName(std::u16string_view partName) {
    return detail::isRelationshipsPartName(partName) ? relationshipsType()
                                                     : contentTypeOfExtension(detail::getExtension(partName));
}

/// A content type without the white space that is not allowed.
std::string withoutBlanks(const std::string& type) {
    std::string text;
    bool isBehindMark = true; // or the start
    for (std::size_t i = 0; i < type.size(); ++i) {
        const bool isBlank = BLANKS.find(type[i]) != BLANKS.npos;
        const std::size_t next = type.find_first_not_of(BLANKS, i);
        if (isBlank && (isBehindMark || next == type.npos || type[next] == '/' || type[next] == '='))
            continue;
        isBehindMark = type[i] == '/' || type[i] == '=';
        text += type[i];
    }
    return text;
}

bool isContentType(const std::string& text) {
    return detail::matchesContentTypePattern(toString(text, false));
}

/// The entries of the content types stream, one by one.
class EntryMender {
public:
    explicit EntryMender(RepairWork& work) : work_(work), types_(work.getTypes()) {
        for (const TypeEntry& entry : types_.getEntries())
            typesOf(entry.isDefault, entry.name).insert(lowerOf(entry.type));
    }

    void mend(TypeEntry& entry) {
        if (entry.name.empty())
            mendIncomplete(entry);
        else if (entry.isDefault)
            mendExtension(entry);
        else
            mendPartName(entry);
        if (!entry.isGone)
            mendType(entry);
    }

private:
    RepairStep stepFor(RuleId rule, const TypeEntry& entry, const char* attribute, const std::string& problem) const {
        return {childFinding(rule, CONTENT_TYPES_ITEM, *entry.child, entry.tag, attribute, problem)};
    }

    static std::u16string lowerOf(const std::string& text) { return toLowerASCIIString(toString(text, false)); }

    std::set<std::u16string>& typesOf(bool isDefault, const std::string& name) {
        return typesOfNames_[{isDefault, lowerOf(name)}];
    }

    /// Why an entry cannot get a name: one without effect would have one, perhaps instead of another.
    std::string findObstacle(const TypeEntry& entry, const std::string& name) {
        std::set<std::u16string>& types = typesOf(entry.isDefault, name);
        types.insert(lowerOf(entry.type));
        return types.size() == 1 ? "" : "another entry has this name and another content type";
    }

    void set(TypeEntry& entry, const char* attribute, const std::string& value) {
        types_.getDocument().setAttribute(*entry.child, attribute, value);
    }

    void remove(TypeEntry& entry) {
        types_.getDocument().remove(*entry.child);
        entry.isGone = true;
    }

    static RuleId incompleteRule(const TypeEntry& entry) {
        return entry.isDefault ? RuleId::DefaultIncomplete : RuleId::OverrideIncomplete;
    }

    void mendIncomplete(TypeEntry& entry) {
        RepairStep step = stepFor(incompleteRule(entry), entry, entry.isDefault ? "Extension" : "PartName",
                                  "an entry without a name");
        step.change = "deletes the entry";
        step.loss = "the content type " + inQuotes(std::string_view(entry.type)) + ", which is that of nothing";
        step.deletes = true;
        if (work_.add(std::move(step)))
            remove(entry);
    }

    void mendExtension(TypeEntry& entry) {
        if (detail::matchesExtensionPattern(toString(entry.name, false)))
            return;
        const bool hasDot = entry.name.front() == '.';
        if (entry.name == ".")
            return replaceByOverrides(entry);
        const std::string name = toText(detail::toItemURI(hasDot ? entry.name.substr(1) : entry.name).substr(1));
        RepairStep step = stepFor(hasDot ? RuleId::ExtensionWithDot : RuleId::XmlValid, entry, "Extension",
                                  inQuotes(std::string_view(entry.name)) + " is not an extension");
        step.change = "changes the extension to " + inQuotes(std::string_view(name));
        if (!detail::matchesExtensionPattern(toString(name)))
            step.why = "nothing can have this extension";
        else
            step.why = findObstacle(entry, name);
        if (!work_.add(std::move(step)))
            return;
        entry.name = name;
        set(entry, "Extension", name);
    }

    /// "." is meant for items without an extension, which only Overrides can name.
    void replaceByOverrides(TypeEntry& entry) {
        std::vector<const RepairItem*> items;
        for (const auto& item : work_.getSnapshot().getItems())
            if (const std::u16string& name = item->getPartName(); !item->isDeleted && !item->isAmbiguous &&
                                                                  !name.empty() && detail::getExtension(name).empty() &&
                                                                  !types_.find(name))
                items.push_back(item.get());
        RepairStep step = stepFor(RuleId::ExtensionWithDot, entry, "Extension", "\".\" is not an extension");
        const std::string type = entry.type.empty() ? typeOfExtension("") : entry.type;
        step.change =
            "replaces the Default by Overrides for the items without an extension: " + std::to_string(items.size());
        if (!isContentType(type))
            step.why = "the content type is not valid";
        if (!work_.add(std::move(step)))
            return;
        remove(entry);
        for (const RepairItem* item : items)
            types_.add(false, toText(item->getPartName()), type);
    }

    void mendPartName(TypeEntry& entry) {
        const std::u16string name = toString(entry.name, false);
        const RepairItem* item = work_.getSnapshot().find(name);
        if (item != nullptr && item->getPartName() == name)
            return;
        RuleId rule = RuleId::ContentTypeCase;
        if (item == nullptr) {
            item = work_.getSnapshot().find(detail::toItemURI(plainItemName(entry.name)));
            if (item == nullptr && detail::isPartName(name))
                return;
            rule = item != nullptr && item->renamedFor ? *item->renamedFor : model::ruleOfPartName(name);
        }
        RepairStep step =
            stepFor(rule, entry, "PartName", inQuotes(std::string_view(entry.name)) + " does not name a part");
        if (item == nullptr) {
            step.change = "deletes the entry";
            step.loss =
                "the content type " + inQuotes(std::string_view(entry.type)) + " of something that does not exist";
            step.deletes = true;
        } else {
            step.finding.message = inQuotes(std::string_view(entry.name)) + " is not how the part is named";
            step.change = "changes the name to " + inQuotes(item->getPartName());
            step.why = findObstacle(entry, toText(item->getPartName()));
        }
        if (!work_.add(std::move(step)))
            return;
        if (item == nullptr)
            return remove(entry);
        entry.name = toText(item->getPartName());
        set(entry, "PartName", entry.name);
    }

    void mendType(TypeEntry& entry) {
        if (isContentType(entry.type))
            return;
        const bool isEmpty = entry.type.empty();
        const std::string type = !isEmpty          ? withoutBlanks(entry.type)
                                 : entry.isDefault ? typeOfExtension(entry.name)
                                                   : typeOfName(toString(entry.name, false));
        if (!isContentType(type))
            return;
        RepairStep step = stepFor(isEmpty ? incompleteRule(entry) : RuleId::ContentTypeSpace, entry, "ContentType",
                                  isEmpty ? "an empty content type" : "white space in a content type");
        step.change = "changes the content type to " + inQuotes(std::string_view(type));
        if (!work_.add(std::move(step)))
            return;
        entry.type = type;
        set(entry, "ContentType", type);
    }

    RepairWork& work_;
    RepairTypes& types_;
    std::map<std::pair<bool, std::u16string>, std::set<std::u16string>> typesOfNames_{}; ///< all in lower case
};

class DuplicatesMender {
public:
    explicit DuplicatesMender(RepairWork& work) : work_(work) {}

    void run() {
        std::map<std::pair<bool, std::u16string>, TypeEntry*> known;
        for (TypeEntry& entry : work_.getTypes().getEntries()) {
            if (entry.isGone || entry.name.empty())
                continue;
            auto& first = known[{entry.isDefault, toLowerASCIIString(toString(entry.name, false))}];
            if (first == nullptr || mend(*first, entry))
                first = &entry;
        }
    }

private:
    /// @return whether the first one is gone.
    bool mend(TypeEntry& first, TypeEntry& second) {
        const bool isSameType = isSame(toString(first.type, false), toString(second.type, false));
        const auto take = work_.getOptions().take;
        TypeEntry& dropped = !isSameType && take == Duplicate::Last ? first : second;
        RepairStep step{childFinding(RuleId::DuplicateContentType, CONTENT_TYPES_ITEM, *dropped.child, dropped.tag,
                                     dropped.isDefault ? "Extension" : "PartName",
                                     "duplicate entry for " + inQuotes(std::string_view(dropped.name)))};
        step.change = "deletes one of the entries";
        if (!isSameType) {
            step.loss = "the content type " + inQuotes(std::string_view(dropped.type));
            step.deletes = true;
            if (!take)
                step.why = "which of the entries counts was not chosen";
        }
        if (!work_.add(std::move(step), true)) {
            first.isAmbiguous = second.isAmbiguous = true;
            return false;
        }
        if (!isSameType)
            touch(dropped);
        dropped.isGone = true;
        work_.getTypes().getDocument().remove(*dropped.child);
        return &dropped == &first;
    }

    void touch(const TypeEntry& entry) {
        const std::u16string name = toLowerASCIIString(toString(entry.name, false));
        (entry.isDefault ? work_.changedExtensions : work_.changedParts).insert(name);
    }

    RepairWork& work_;
};

/// The items that are parts or may become parts, by extension.
class Extensions {
public:
    explicit Extensions(RepairSnapshot& snapshot) {
        for (const auto& item : snapshot.getItems())
            if (!item->isDeleted && !item->isFolder() && !item->isContentTypes())
                count(*item);
    }

    static bool isKept(const RepairItem& item) {
        return item.getPartName().empty() || item.isAmbiguous || item.getName().compare(0, 8, "[trash]/") == 0;
    }

    /// Whether an item of this extension is to stay without a content type.
    bool hasKept(const std::u16string& extension) const { return kept_.count(toLowerASCIIString(extension)) != 0; }
    /// Whether one of them is no relationships part.
    bool hasOther(const std::u16string& extension) const { return others_.count(toLowerASCIIString(extension)) != 0; }

private:
    void count(const RepairItem& item) {
        const std::u16string extension =
            toLowerASCIIString(detail::getExtension(detail::toItemURI(plainItemName(item.getName()))));
        if (isKept(item))
            kept_.insert(extension);
        if (!detail::isRelationshipsPartName(item.getPartName()))
            others_.insert(extension);
    }

    std::set<std::u16string> kept_;
    std::set<std::u16string> others_;
};

class UntypedMender {
public:
    explicit UntypedMender(RepairWork& work) : work_(work), extensions_(work.getSnapshot()) {}

    void mend(const RepairItem& item) {
        const bool isRelationships = detail::isRelationshipsPartName(item.getPartName());
        const auto type = work_.getTypes().find(item.getPartName());
        if (!type || isAdded(item.getPartName()))
            addType(item, isRelationships);
        else if (isRelationships && !isSame(toString(*type, false), toString(relationshipsType())))
            changeType(item, *type);
    }

private:
    /// Whether it was without a content type until another part of its extension got one.
    bool isAdded(const std::u16string& name) {
        return added_.count(toLowerASCIIString(detail::getExtension(name))) != 0 &&
               work_.getTypes().findEntry(name) == nullptr;
    }

    void addType(const RepairItem& item, bool isRelationships) {
        const std::string type = typeOfName(item.getPartName());
        const std::u16string extension = detail::getExtension(item.getPartName());
        const bool isDefault = detail::matchesExtensionPattern(extension) && !extensions_.hasKept(extension) &&
                               !(isRelationships && extensions_.hasOther(extension));
        const std::string name = toText(isDefault ? extension : item.getPartName());
        RepairStep step{itemFinding(isRelationships ? RuleId::RelationshipsTypeMissing : RuleId::UntypedItem, item,
                                    "no content type")};
        if (!isRelationships)
            step.finding.place.item = item.getName(); // it is not a part
        step.change = std::string("adds ") + (isDefault ? "a Default for the extension " : "an Override for ") +
                      inQuotes(std::string_view(name)) + " with the content type " + inQuotes(std::string_view(type));
        if (!work_.getTypes().getDocument().canAppend())
            step.why = "the content types stream cannot be extended";
        else if (!isRelationships && !hasWholeRelationships(work_, item))
            step.why = "its relationships part cannot be read whole";
        if (work_.add(std::move(step)) && (!isDefault || added_.insert(toLowerASCIIString(extension)).second))
            work_.getTypes().add(isDefault, name, type);
    }

    void changeType(const RepairItem& item, const std::string& old) {
        TypeEntry* entry = work_.getTypes().findEntry(item.getPartName());
        if (entry == nullptr)
            return;
        const bool isOverride = entry->isDefault && extensions_.hasOther(toString(entry->name, false));
        RepairStep step{itemFinding(RuleId::RelationshipsContentType, item,
                                    "relationships part with the content type " + inQuotes(std::string_view(old)))};
        step.change = isOverride ? "adds an Override with the content type of relationships"
                                 : "changes the content type to that of relationships";
        if (entry->isAmbiguous && !isOverride)
            step.why = "which of the entries counts was not chosen";
        if (!work_.add(std::move(step)))
            return;
        work_.changedParts.insert(toLowerASCIIString(item.getPartName()));
        if (isOverride) {
            work_.getTypes().add(false, toText(item.getPartName()), relationshipsType());
            return;
        }
        entry->type = relationshipsType();
        work_.getTypes().getDocument().setAttribute(*entry->child, "ContentType", entry->type);
    }

    RepairWork& work_;
    Extensions extensions_;
    std::set<std::u16string> added_{}; ///< the extensions that got a Default
};

} // namespace

void mendContentTypes(RepairWork& work) {
    if (!work.getTypes().isRead())
        return;
    EntryMender mender(work);
    for (TypeEntry& entry : work.getTypes().getEntries())
        mender.mend(entry);
    DuplicatesMender(work).run();
    work.getTypes().index();
}

void mendUntypedItems(RepairWork& work) {
    if (!work.getTypes().isRead())
        return;
    UntypedMender mender(work);
    for (const auto& item : work.getSnapshot().getItems())
        if (!item->isDeleted && !item->isPiece() && !Extensions::isKept(*item))
            mender.mend(*item);
}

} // namespace opc::lint
