// SPDX-License-Identifier: Apache-2.0
#include "storage/items/ZipNameRules.hpp"

#include "storage/Failure.hpp"
#include "storage/items/ItemNames.hpp"
#include "storage/items/Pieces.hpp"

#include <opc/core/Characters.hpp>
#include <opc/core/FoldedNames.hpp>
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <set>
#include <string>
#include <string_view>

namespace opc::storage {

namespace {

/// More characters than file systems take.
constexpr std::size_t LONG_NAME = 256;

bool isASCIIByte(char c) {
    return static_cast<unsigned char>(c) < 0x80;
}

/// What a name has that names of items do not have (ECMA-376-2 §7.3.4); empty for nothing.
std::string findSyntaxFault(std::string_view name) {
    if (name.find('\\') != std::string_view::npos)
        return "a backslash in the name";
    if (name.starts_with('/'))
        return "a slash in front of the name";
    if (name.size() > 1 && name[1] == ':' && detail::isLetter(static_cast<unsigned char>(name[0])))
        return "a drive in front of the name";
    return std::ranges::all_of(name, isASCIIByte) ? "" : "a character that is not ASCII in the name";
}

/// The first ASCII character that the part name has as an escape, in quotes; empty for none.
std::string findEscapedCharacter(std::string_view name) {
    for (std::size_t i = 0; i < name.size(); ++i) {
        const auto byte = static_cast<unsigned char>(name[i]);
        if (isASCIIByte(name[i]) && !detail::isPathCharacter(byte) && detail::escapedByte(name, i) < 0)
            return inQuotes(name.substr(i, 1));
    }
    return {};
}

std::string findFileSystemFault(std::string_view name) {
    const std::size_t found = name.find_first_of("*:;\"<>|?");
    if (found != std::string_view::npos)
        return "the character " + inQuotes(name.substr(found, 1)) + " in the name";
    const auto length =
        std::ranges::count_if(name, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; });
    return static_cast<std::size_t>(length) < LONG_NAME ? "" : "a name of " + std::to_string(length) + " characters";
}

/// The slash in front is not one of the name: a name that is nothing else is empty, and "//" is an empty segment.
RuleId toRule(detail::PartNameRule rule) {
    switch (rule) {
    case detail::PartNameRule::NoSlashAtEnd: // a folder is told as such
        return RuleId::PartNameNotEmpty;
    case detail::PartNameRule::AbsolutePath:
        return RuleId::NoEmptySegment;
    default:
        return detail::toRuleId(rule);
    }
}

class NamesCheck {
public:
    NamesCheck(const ItemArchive& archive, const ContentTypes* types, const ZipFaults& faults)
        : archive_(archive), types_(types), faults_(faults) {}

    void check(const ZipEntry& entry) {
        const bool isPlain = entry.name.size() < LONG_NAME && detail::isPlainName(entry.name); // without any fault
        const std::string syntax = isPlain ? "" : findSyntaxFault(entry.name);
        if (!isPlain) {
            addUnlessEmpty(RuleId::ItemNameSyntax, entry, syntax);
            addUnlessEmpty(RuleId::FileSystemName, entry, findFileSystemFault(entry.name));
        }
        if (!entry.pieces().empty())
            checkPieces(entry);
        if (entry.kind == ZipItemKind::Part)
            checkPart(entry, isPlain);
        else if (entry.kind == ZipItemKind::Other && entry.reason().empty())
            checkOther(entry, !syntax.empty());
    }

    void checkOverrides(const ZipItems& items) const {
        for (const detail::ContentTypeEntry& entry : types_->entries()) {
            if (entry.isDefault || items.hasPartName(entry.name) || !detail::isPartName(entry.name))
                continue;
            const std::string name = detail::toUTF8String(entry.name, false);
            faults_.add({RuleId::OverrideOfNothing,
                         std::string(CONTENT_TYPES_ITEM),
                         "an Override for " + inQuotes(name) + ", which does not exist",
                         {},
                         name});
        }
    }

private:
    void add(RuleId rule, const ZipEntry& entry, const std::string& what) const {
        faults_.add({rule, entry.name, what, {}, entry.name});
    }

    void addUnlessEmpty(RuleId rule, const ZipEntry& entry, const std::string& what) const {
        if (!what.empty())
            add(rule, entry, what);
    }

    void checkPieces(const ZipEntry& entry) const {
        add(RuleId::InterleavedPart, entry, IN_PIECES);
        const auto place = [&](std::uint64_t piece) { return archive_.place(piece); };
        if (!std::ranges::is_sorted(entry.pieces(), {}, place))
            add(RuleId::PieceOrder, entry, "the pieces are not in the order of their numbers");
    }

    void checkPart(const ZipEntry& entry, bool isPlain) const {
        const std::string character = isPlain ? "" : findEscapedCharacter(entry.name);
        if (!character.empty())
            add(RuleId::PathCharacters, entry, "the character " + character + " in the name");
        if (types_ && detail::isRelationshipsPartName(entry.partName()) && !types_->find(entry.partName()))
            add(RuleId::RelationshipsTypeMissing, entry, "no content type for this relationships part");
    }

    /// @param isTold whether something was told of the name already.
    void checkOther(const ZipEntry& entry, bool isTold) {
        if (const auto piece = parsePieceName(entry.name)) {
            if (incomplete_.insert(detail::foldName(piece->prefix)).second)
                add(RuleId::IncompletePieces, entry, "the pieces of " + inQuotes(piece->prefix) + " are not complete");
        } else if (entry.name.ends_with('/')) {
            add(RuleId::FolderItem, entry, "a folder");
        } else if (const auto rule = findPartNameRule(entry.name)) {
            if (!isTold)
                add(toRule(*rule), entry, explainOther(entry));
        } else if (types_ && !detail::isRelationshipsPartName(entry.partName()) &&
                   !entry.name.starts_with("[trash]/")) {
            add(RuleId::UntypedItem, entry, explainOther(entry));
        }
    }

    const ItemArchive& archive_;
    const ContentTypes* types_;
    const ZipFaults& faults_;
    std::set<std::string> incomplete_; ///< the prefixes of pieces, folded
};

} // namespace

void checkItemNames(const ZipItems& items, const ItemArchive& archive, const ContentTypes* types,
                    const ZipFaults& faults) {
    NamesCheck check(archive, types, faults);
    for (const ZipEntry& entry : items.all())
        if (entry.index)
            check.check(entry);
    if (types)
        check.checkOverrides(items);
}

} // namespace opc::storage
