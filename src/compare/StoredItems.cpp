// SPDX-License-Identifier: Apache-2.0
#include "compare/StoredItems.hpp"

#include <opc/core/ItemNames.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/core/interfaces/IPhysicalItems.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/crypto/CryptoEngine.hpp>

#include <set>
#include <utility>

namespace opc::compare {

namespace {

using interfaces::IPhysicalItems;

/// By name and how many items of that name came before, the position and the size.
using Others = std::map<std::pair<std::string, std::size_t>, std::pair<std::size_t, std::uint64_t>>;

IPhysicalItems* itemsOf(const ComparedPackage& compared) {
    return dynamic_cast<IPhysicalItems*>(compared.store);
}

std::string toKey(std::string_view itemName) {
    return opc::detail::toUTF8String(toLowerASCIIString(detail::toItemURI(std::string(itemName))), false);
}

/// The name without that of a piece, if it has one.
std::string_view withoutPiece(std::string_view itemName) {
    const std::u16string folded = toLowerASCIIString(toString(itemName, false));
    const std::size_t slash = itemName.rfind("/[");
    return slash != itemName.npos && folded.ends_with(u".piece") ? itemName.substr(0, slash) : itemName;
}

/// The keys of the parts that items are, or are pieces of, if they are. A piece beside an item for the whole part is
/// none.
class ItemKeys {
public:
    explicit ItemKeys(const std::vector<IPhysicalItems::Item>& items) {
        for (const IPhysicalItems::Item& item : items)
            if (withoutPiece(item.name) == item.name)
                whole_.insert(toKey(item.name));
    }

    std::string operator()(const std::string& itemName) const {
        std::string key = toKey(withoutPiece(itemName));
        return whole_.count(key) != 0 ? toKey(itemName) : key;
    }

private:
    std::set<std::string> whole_{};
};

/// Names of what the model knows: parts, relationships parts and the content types stream.
std::set<std::string> knownKeys(const ComparedParts& parts) {
    std::set<std::string> keys{"/[content_types].xml", "/%5bcontent_types%5d.xml"};
    const auto add = [&](const model::RelationshipSource& source) {
        keys.insert(toText(toLowerASCIIString(source.getRelationshipsPartName().toString())));
    };
    add(parts.getPackage());
    for (const model::Part& part : parts.getPackage().getParts()) {
        keys.insert(toText(toLowerASCIIString(part.getName().toString())));
        add(part);
    }
    return keys;
}

Others findOthers(const ComparedParts& parts, const CompareOptions& options) {
    Others others;
    const std::set<std::string> known = knownKeys(parts);
    std::map<std::string, std::size_t> counts;
    std::size_t position = 0;
    const std::vector<IPhysicalItems::Item> items = itemsOf(parts.getCompared())->getStoredItems();
    const ItemKeys keyOf(items);
    for (const IPhysicalItems::Item& item : items) {
        const bool isFolder = !item.name.empty() && item.name.back() == '/';
        const bool isCompared = !options.isCompared || options.isCompared("/" + item.name);
        if (!isFolder && isCompared && known.count(keyOf(item.name)) == 0)
            others[{item.name, counts[item.name]++}] = {position, item.size};
        ++position;
    }
    return others;
}

std::vector<unsigned char> digestItem(IPhysicalItems& items, std::size_t position) {
    crypto::DigestEngine engine = crypto::CryptoEngine::createDigestEngine(crypto::DigestAlgorithm::SHA256);
    interfaces::IPhysicalInputStream& stream = *items.getStoredItemInputStream(position);
    std::vector<unsigned char> block(64UL * 1024);
    stream.open();
    while (const unsigned long count = stream.read(block.data(), block.size()))
        engine.update(block.data(), count);
    stream.close();
    return engine.finish();
}

} // namespace

std::map<std::string, std::uint64_t> sizesOf(const ComparedPackage& compared) {
    std::map<std::string, std::uint64_t> sizes;
    if (const IPhysicalItems* store = itemsOf(compared)) {
        const std::vector<IPhysicalItems::Item> items = store->getStoredItems();
        const ItemKeys keyOf(items);
        for (const IPhysicalItems::Item& each : items)
            sizes[keyOf(each.name)] += each.size;
    }
    return sizes;
}

std::vector<StoredItem> othersOf(const ComparedParts& parts) {
    std::vector<StoredItem> others;
    IPhysicalItems* const items = itemsOf(parts.getCompared());
    if (items != nullptr)
        for (const auto& [key, item] : findOthers(parts, {}))
            others.push_back({key.first, item.second, digestItem(*items, item.first)});
    return others;
}

void compareItems(ComparedParts& before, ComparedParts& after, const CompareOptions& options,
                  std::vector<ItemDifference>& differences) {
    IPhysicalItems* const itemsBefore = itemsOf(before.getCompared());
    IPhysicalItems* const itemsAfter = itemsOf(after.getCompared());
    if (itemsBefore == nullptr || itemsAfter == nullptr)
        return;
    Others rest = findOthers(after, options);
    std::multimap<std::string, ItemDifference> found;
    for (const auto& [key, item] : findOthers(before, options)) {
        const auto [position, size] = item;
        const auto same = rest.find(key);
        if (same == rest.end()) {
            found.emplace(key.first, ItemDifference{DifferenceKind::Removed, key.first, size, 0});
            continue;
        }
        if (size != same->second.second ||
            digestItem(*itemsBefore, position) != digestItem(*itemsAfter, same->second.first))
            found.emplace(key.first, ItemDifference{DifferenceKind::Changed, key.first, size, same->second.second});
        rest.erase(same);
    }
    for (const auto& [key, item] : rest)
        found.emplace(key.first, ItemDifference{DifferenceKind::Added, key.first, 0, item.second});
    for (auto& [name, difference] : found)
        differences.push_back(std::move(difference));
}

} // namespace opc::compare
