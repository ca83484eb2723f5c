// SPDX-License-Identifier: Apache-2.0
#include "storage/items/MeetingNames.hpp"

#include "storage/Failure.hpp"

#include <opc/core/FoldedNames.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace opc::storage {

namespace {

/// The name for a reader that descends the folders up to the first empty segment and puts the last segment there.
/// @return nothing when no segment is empty.
std::optional<std::string> withoutHiddenSegments(std::string_view name) {
    const std::size_t empty = name.starts_with('/') ? 0 : name.find("//");
    if (empty == std::string_view::npos)
        return std::nullopt;
    return std::string(name.substr(0, empty)).append(name.substr(name.rfind('/')));
}

/// A name for who takes what stands in front of a colon for a drive, and what stands behind one for a stream of a file.
std::vector<std::string> namesOnDrives(std::string_view name) {
    const std::size_t colon = name.find(':');
    if (colon == std::string_view::npos)
        return {};
    const std::size_t end = std::min(name.find('/', colon), name.size());
    return {std::string(name.substr(colon + 1)), std::string(name.substr(0, colon)).append(name.substr(end))};
}

/// Finds items whose names meet. Each item tells the first other one.
class MeetingNames {
public:
    MeetingNames(const ZipItems& items, const ItemArchive& archive, const ZipFaults& faults)
        : items_(items), archive_(archive), faults_(faults) {}

    void check() {
        if (!canMeet())
            return;
        forEachName([this](const Owner& owner) { add(owner); });
        checkFolders();
    }

private:
    struct Owner {
        std::string name;
        const ZipEntry* entry;
        std::string_view stored; ///< the name as it is in the directory; empty for a part in pieces
    };

    /// Whether folded names are equal, or one is a folder of another: as of few files.
    bool canMeet() const {
        std::vector<std::string> names;
        names.reserve(items_.all().size());
        forEachName([&names](const Owner& owner) {
            for (std::string& text : foldedNames(owner.name)) {
                std::ranges::replace(text, '/', '\0'); // so that what is in a folder follows it
                names.push_back(std::move(text));
            }
        });
        std::ranges::sort(names);
        const auto meet = [](const std::string& name, const std::string& next) {
            return next.starts_with(name) && (next.size() == name.size() || next[name.size()] == '\0');
        };
        return std::ranges::adjacent_find(names, meet) != names.end();
    }

    template <class Take>
    void forEachName(const Take& take) const {
        for (const ZipEntry& entry : items_.all()) {
            if (!entry.index || !entry.reason().empty())
                continue;
            if (entry.pieces().empty())
                forEachStoredName(entry, *entry.index, entry.name, take);
            else
                take(Owner{entry.name, &entry, {}});
            for (const std::uint64_t piece : entry.pieces())
                forEachStoredName(entry, piece, archive_.item(piece).name, take);
        }
    }

    /// The bytes of a name differ from it where they are control characters, for example.
    template <class Take>
    void forEachStoredName(const ZipEntry& entry, std::uint64_t index, std::string_view name, const Take& take) const {
        const std::string_view stored = archive_.storedName(index);
        take(Owner{std::string(name), &entry, stored});
        if (stored != name)
            take(Owner{std::string(stored), &entry, stored});
    }

    /// A reader that creates folders for names cannot create an item where there is a folder.
    void checkFolders() const {
        std::set<const ZipEntry*> told;
        for (const auto& [text, owner] : folded_) {
            const std::string folder = text + '/';
            auto below = folded_.lower_bound(folder);
            while (below != folded_.end() && below->first.starts_with(folder) && below->second.entry == owner.entry)
                ++below;
            const bool isFolder = owner.name.ends_with('/') || owner.name.ends_with('\\');
            if (!isFolder && below != folded_.end() && below->first.starts_with(folder) &&
                told.insert(owner.entry).second)
                addBelow(owner, below->second);
        }
    }

    void add(const Owner& owner) {
        for (const std::string& text : foldedNames(owner.name)) {
            const auto [known, isNew] = folded_.try_emplace(text, owner);
            const Owner& other = known->second;
            const bool isDuplicate = !owner.stored.empty() && owner.stored == other.stored; // told as such
            if (!isNew && other.entry != owner.entry && !isDuplicate &&
                std::exchange(told_, owner.entry) != owner.entry) {
                const std::string what = "readers could take the item for " + inQuotes(other.name);
                faults_.add(
                    {RuleId::NamesThatMeet, owner.entry->name, what, inQuotes(owner.name) + ": " + what, other.name});
            }
        }
    }

    void addBelow(const Owner& owner, const Owner& below) const {
        const std::u16string folder = owner.entry->partName() + u"/";
        const std::u16string& name = below.entry->partName();
        const bool areParts = owner.entry->kind == ZipItemKind::Part && below.entry->kind == ZipItemKind::Part;
        const bool isDerived = areParts && caselessCompare(name.substr(0, folder.size()), folder) == 0;
        const std::string what = "readers could take " + inQuotes(owner.name) + " for the folder of this item";
        faults_.add({isDerived ? RuleId::NoDerivedPartName : RuleId::ItemBelowItem, below.entry->name, what,
                     inQuotes(below.name) + ": " + what, owner.name});
    }

    const ZipItems& items_;
    const ItemArchive& archive_;
    const ZipFaults& faults_;
    std::map<std::string, Owner> folded_;
    const ZipEntry* told_ = nullptr; ///< the last item that met another one
};

} // namespace

std::vector<std::string> foldedNames(std::string_view name) {
    std::vector<std::string> folded;
    folded.push_back(detail::foldName(name));
    if (const auto shorter = withoutHiddenSegments(name))
        folded.push_back(detail::foldName(*shorter));
    for (const std::string& other : namesOnDrives(name))
        folded.push_back(detail::foldName(other));
    std::ranges::sort(folded);
    folded.erase(std::unique(folded.begin(), folded.end()), folded.end());
    return folded;
}

void checkMeetingNames(const ZipItems& items, const ItemArchive& archive, const ZipFaults& faults) {
    MeetingNames(items, archive, faults).check();
}

} // namespace opc::storage
