// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/CaselessLess.hpp"
#include "storage/StoredItem.hpp"
#include "storage/items/ReadLimits.hpp"

#include <opc/core/interfaces/CompressionType.hpp>
#include <opc/storage/zip/ZipItem.hpp>
#include <opc/storage/zip/ZipOptions.hpp>

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace opc::storage {

class ContentTypes;
class ZipFaults;

struct ZipEntry;

/// The package that items are in.
class ZipItemOwner {
public:
    virtual ~ZipItemOwner() = default;

    virtual const ItemOrigin::Opening& getOpening() const = 0;

    /// Package and item, for the start of messages.
    virtual std::string labelOf(std::string_view itemName) const = 0;

    virtual std::unique_ptr<ItemReader> readOriginal(ZipEntry& entry) = 0;
};

/// One item of an open ZIP package.
struct ZipEntry final : ItemOrigin {
    /// @param itemName UTF-8.
    /// @param partName the part that the item would be by its name; empty for none.
    ZipEntry(ZipItemOwner& itsOwner, std::string itemName, std::u16string partName,
             interfaces::CompressionType compression = interfaces::CompressionType::Normal)
        : owner(itsOwner), name(std::move(itemName)), bytes(*this, std::move(partName), compression) {}

    const Opening& getOpening() const override { return owner.getOpening(); }
    std::string getLabel() const override { return owner.labelOf(name); }
    std::unique_ptr<ItemReader> readOriginal() override { return owner.readOriginal(*this); }
    const std::u16string& partName() const { return bytes.name(); }

    /// The indexes of all pieces in their order; empty for an item in one.
    const std::vector<std::uint64_t>& pieces() const { return rare_ ? rare_->pieces : NO_RARE.pieces; }
    void setPieces(std::vector<std::uint64_t> pieces) {
        if (!pieces.empty())
            makeRare().pieces = std::move(pieces);
    }

    /// Why it is not a part although its name and content type would allow it; else empty.
    const std::string& reason() const { return rare_ ? rare_->reason : NO_RARE.reason; }
    void setReason(std::string reason) {
        if (rare_ || !reason.empty())
            makeRare().reason = std::move(reason);
    }

    ZipItemOwner& owner;
    const std::string name;
    std::optional<std::uint64_t> index{}; ///< in the directory of the file that was opened; none for a new item
    std::uint64_t size = 0;               ///< as stored
    std::uint64_t compressedSize = 0;
    ZipItemKind kind = ZipItemKind::Other;
    bool isOneOfSeveral = false; ///< for one part or content types stream, as was told
    bool isRenamed = false;      ///< since the open
    ReadCount count{};
    StoredItem bytes;

private:
    /// What few items have.
    struct Rare {
        std::vector<std::uint64_t> pieces{};
        std::string reason{};
    };

    Rare& makeRare() {
        if (!rare_)
            rare_ = std::make_unique<Rare>();
        return *rare_;
    }

    static const Rare NO_RARE;

    std::unique_ptr<Rare> rare_;
};

/// Why an item that is not a part is none.
std::string explainOther(const ZipEntry& entry);

/// The items of an open ZIP package in their order, found by name.
class ZipItems {
public:
    using Entries = std::list<ZipEntry>;

    const Entries& all() const { return entries_; }
    Entries& all() { return entries_; }

    /// Adds an item after all others, or before a given one.
    template <class... Arguments>
    ZipEntry& add(Entries::iterator before, Arguments&&... arguments) {
        const auto entry = entries_.emplace(before, std::forward<Arguments>(arguments)...);
        index(entry);
        return *entry;
    }

    /// The content types stream; null when there is none.
    ZipEntry* contentTypes() { return contentTypes_; }
    void setContentTypes(ZipEntry& entry) {
        entry.kind = ZipItemKind::ContentTypes;
        contentTypes_ = &entry;
    }

    /// Makes the content types stream an item that is none.
    void leaveOutContentTypes(const std::string& reason);

    /// The first item of exactly this name; null for none.
    ZipEntry* findItem(std::string_view name);

    /// The part of this name; null for none.
    ZipEntry* findPart(std::u16string_view name);

    /// The item whose name maps to this part name, whether or not it is a part; null for none.
    ZipEntry* findByPartName(std::u16string_view partName);

    /// Whether the name of an item maps to this part name.
    bool hasPartName(std::u16string_view partName) const { return byPartName_.contains(partName); }

    /// An item that is not a part and cannot be unpacked beside a new item of this name: one of them would be a file
    /// and the other a folder, or both the same file (`foldedNames`); null for none.
    const ZipEntry* findMeeting(std::string_view itemName) const;

    /// True when an item that is not a part has this extension.
    bool hasOthers(const std::u16string& extension) const { return otherExtensions_.contains(extension); }

    /// Removes an item with the name of a part.
    void remove(ZipEntry& item);

    /// Determines which of the items are parts (ECMA-376-2 §7.3.4), and their content types.
    /// @param types of the content types stream; null when it cannot be read: then every item that has a part
    ///        name is a part, and the model reports why the stream cannot be read.
    /// @param take which of several items of the same part is the part.
    /// @param faults several items of the same part.
    /// @throws opc::Exception what the faults throw.
    void findParts(const ContentTypes* types, ZipOptions::Take take, const ZipFaults& faults);

    /// Whether it was found that every item has the same content type for all readers (`ContentTypes::isExact`).
    bool areTypesExact() const { return areTypesExact_; }

private:
    void index(Entries::iterator entry);
    void hideRelationshipsOf(std::u16string name);
    void leaveOutSameParts(ZipOptions::Take take, const ZipFaults& faults);
    static void takeAsPart(ZipEntry& entry);
    void noteOthers();
    const ZipEntry* findFolded(const std::string& name) const;

    using ByPartName = std::multimap<std::u16string_view, Entries::iterator, CaselessLess>;

    Entries entries_;
    ByPartName byPartName_;                                  ///< of the entries' own names
    ByPartName::const_iterator next_ = byPartName_.end();    ///< behind the item that was added last, or the end
    std::map<std::string_view, ZipEntry*> byItemName_;       ///< of the entries' own names; empty until needed
    std::set<std::u16string, CaselessLess> otherExtensions_; ///< of items that are not parts at the open
    std::map<std::string, const ZipEntry*> foldedOthers_;    ///< items that are not parts, by folded name
    ZipEntry* contentTypes_ = nullptr;
    bool areTypesExact_ = false;
};

} // namespace opc::storage
