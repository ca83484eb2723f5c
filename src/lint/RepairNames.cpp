// SPDX-License-Identifier: Apache-2.0
#include <opc/core/ItemNames.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>

#include "lint/Examination.hpp"
#include "lint/RepairWork.hpp"

#include <algorithm>
#include <map>
#include <set>

namespace opc::lint {

namespace {

using Group = std::vector<RepairItem*>;

std::u16string lowerName(const std::string& name) {
    return toLowerASCIIString(toString(name, false));
}

/// Items of which only one can be what its name says.
std::map<std::u16string, Group> groupsOf(RepairSnapshot& snapshot) {
    std::map<std::u16string, Group> groups;
    for (const auto& item : snapshot.getItems())
        if (!item->isPiece() && !item->isFolder())
            groups[item->getPartName().empty() ? u'\0' + lowerName(item->getName())
                                               : toLowerASCIIString(item->getPartName())]
                .push_back(item.get());
    return groups;
}

bool areEqual(const Group& group, const std::u16string& (RepairItem::*key)() const) {
    return std::all_of(
        group.begin(), group.end(),
        [&](const RepairItem* each) { return ((*each).*key)() == ((*group.front()).*key)(); });
}

RuleId ruleOf(const Group& group) {
    if (group.front()->isContentTypes())
        return RuleId::ContentTypesMissing;
    const auto hasSameName = [&](const RepairItem* each) { return each->getName() == group.front()->getName(); };
    if (std::all_of(group.begin(), group.end(), hasSameName))
        return RuleId::NoDuplicateItem;
    return areEqual(group, &RepairItem::getPartName) ? RuleId::OnePartPerName : RuleId::NoEquivalentPartNames;
}

void mendGroup(RepairWork& work, const Group& group) {
    const auto take = work.getOptions().take;
    const RepairItem* kept = take == Duplicate::First ? group.front() : group.back();
    for (RepairItem* item : group) {
        if (item == kept)
            continue;
        RepairStep step{itemFinding(ruleOf(group), *item, "duplicate item, as " + inQuotes(kept->getName()))};
        step.finding.place.item = item->getName(); // several are no part
        step.change = "deletes one of the items";
        step.loss = "the content of the item";
        step.deletes = true;
        if (!take)
            step.why = "which of the items counts was not chosen";
        if (work.add(std::move(step), true))
            item->isDeleted = true;
    }
}

/// The names that items have or get.
class Names {
public:
    explicit Names(RepairSnapshot& snapshot) {
        for (const auto& item : snapshot.getItems()) {
            if (item->isDeleted)
                continue;
            names_.insert(keyOf(item->getName()));
            plain_.insert(keyOf(plainItemName(item->getName())));
        }
    }

    /// Whether an item has the name, or would be a file where another item has a folder, or the other way round.
    bool isTaken(const std::string& name) const {
        const std::u16string key = keyOf(name);
        const auto next = names_.lower_bound(key + u'/');
        if (names_.count(key) != 0 || (next != names_.end() && next->compare(0, key.size() + 1, key + u'/') == 0))
            return true;
        for (std::size_t slash = key.find(u'/', 1); slash != key.npos; slash = key.find(u'/', slash + 1))
            if (names_.count(key.substr(0, slash)) != 0)
                return true;
        return false;
    }

    void add(const std::string& name) { names_.insert(keyOf(name)); }

    /// Whether there is the source of a relationships part, perhaps by another spelling.
    bool hasSource(const std::u16string& relationships) const {
        const std::u16string source = detail::getSourcePartName(relationships);
        return source == u"/" || plain_.count(toLowerASCIIString(source)) != 0;
    }

private:
    static std::u16string keyOf(const std::string& name) { return toLowerASCIIString(detail::toItemURI(name)); }

    std::set<std::u16string> names_;
    std::set<std::u16string> plain_; ///< without backslashes
};

/// Whether an item of the name is a part or a folder, and stays in the folder where a package is unpacked.
bool isUsable(const std::string& name) {
    const bool hasDrive = name.size() > 1 && name[1] == ':';
    const bool isFolder = name.back() == '/';
    return !hasDrive && detail::isPartName(detail::toItemURI(isFolder ? name.substr(0, name.size() - 1) : name));
}

/// Why an item cannot get a name; empty when it can.
std::string findObstacle(RepairWork& work, RepairItem& item, const std::string& name, const Names& names) {
    if (!isUsable(name))
        return "the new name would not be that of a part either";
    if (names.isTaken(name))
        return "another item has this name, or one that is a folder of the other";
    const std::u16string part = detail::toItemURI(name);
    if (!detail::isRelationshipsPartName(part))
        return "";
    if (!names.hasSource(part))
        return "the part whose relationships these are does not exist";
    const RepairDocument* document = work.getSnapshot().read(item);
    return document != nullptr && isRelationships(*document) ? "" : "these relationships cannot be read";
}

/// Whether nothing but relationships names the parts of the package: the content type of every main part says so.
bool isNamedByRelationships(RepairWork& work) {
    bool isNamed = false;
    for (const auto& item : work.getSnapshot().getItems()) {
        const auto type = work.getTypes().find(detail::toItemURI(plainItemName(item->getName())));
        if (item->isDeleted || !type || mainRelationshipTypeOf(*type) == nullptr)
            continue;
        if (!isNamedByRelationshipsOnly(*type))
            return false;
        isNamed = true;
    }
    return isNamed;
}

std::string problemOf(const std::string& name) {
    if (name.find('\\') != name.npos)
        return "a backslash in the name";
    return name.front() == '/' ? "a slash in front of the name" : "an empty segment in the name";
}

void mendName(RepairWork& work, RepairItem& item, const std::string& name, bool isNamed, Names& names) {
    const bool isSyntax = item.getName().find('\\') != std::string::npos || item.getName().front() == '/';
    const RuleId rule = isSyntax ? RuleId::ItemNameSyntax : RuleId::NoEmptySegment;
    if (!work.wants(rule))
        return;
    RepairStep step{itemFinding(rule, item, problemOf(item.getName()))};
    step.change = "renames the item to " + inQuotes(name);
    if (!isNamed)
        step.why = "parts of such packages are also named in markup, which is not changed";
    else
        step.why = findObstacle(work, item, name, names);
    if (work.add(std::move(step))) {
        names.add(name);
        work.changedParts.insert(toLowerASCIIString(detail::toItemURI(name)));
        work.getSnapshot().rename(item, name, rule);
    }
}

void mendContentTypesName(RepairWork& work, RepairItem& item) {
    RepairStep step{itemFinding(RuleId::ContentTypesItemCase, item, "a content types stream in another case")};
    step.change = "renames the item to " + inQuotes(std::string_view(CONTENT_TYPES_ITEM));
    if (work.add(std::move(step)))
        work.getSnapshot().rename(item, CONTENT_TYPES_ITEM, RuleId::ContentTypesItemCase);
}

} // namespace

void mendDuplicateItems(RepairWork& work) {
    for (const auto& [name, group] : groupsOf(work.getSnapshot()))
        if (group.size() > 1)
            mendGroup(work, group);
}

void mendItemNames(RepairWork& work) {
    const bool isNamed = isNamedByRelationships(work);
    Names names(work.getSnapshot());
    for (const auto& item : work.getSnapshot().getItems()) {
        if (item->isDeleted || item->getName().empty())
            continue;
        const std::string name = plainItemName(item->getName());
        if (item->isContentTypes() && name != CONTENT_TYPES_ITEM && work.getTypes().isRead())
            mendContentTypesName(work, *item);
        else if (!name.empty() && name != item->getName() && !item->isContentTypes())
            mendName(work, *item, name, isNamed, names);
    }
}

} // namespace opc::lint
