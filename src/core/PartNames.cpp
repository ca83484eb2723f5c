// SPDX-License-Identifier: Apache-2.0
#include <opc/core/PartNames.hpp>

#include <opc/core/Characters.hpp>

#include <algorithm>

namespace opc::detail {

namespace {

constexpr std::u16string_view RELATIONSHIPS_FOLDER = u"/_rels/";
constexpr std::u16string_view RELATIONSHIPS_EXTENSION = u".rels";

/// True for the characters of a path, and with "?" those of a query or a fragment (RFC 3986 §3.3 to §3.5).
bool isMadeOfPathCharacters(std::u16string_view text, bool questionMarkToo) noexcept {
    for (std::size_t i = 0; i < text.size(); ++i)
        if (!isPathCharacter(text[i]) && escapedByte(text, i) < 0 && !(questionMarkToo && text[i] == u'?'))
            return false;
    return true;
}

/// Cuts a text before the first occurrence of a character. @return what followed it.
std::u16string_view cutBefore(std::u16string_view& text, char16_t unit) noexcept {
    const std::size_t at = std::min(text.find(unit), text.size());
    const std::u16string_view tail = text.substr(std::min(at + 1, text.size()));
    text = text.substr(0, at);
    return tail;
}

bool isURIReference(std::u16string_view path) noexcept {
    const std::u16string_view fragment = cutBefore(path, u'#');
    const std::u16string_view query = cutBefore(path, u'?');
    return isMadeOfPathCharacters(path, false) && isMadeOfPathCharacters(query, true) &&
           isMadeOfPathCharacters(fragment, true);
}

std::u16string_view getPath(std::u16string_view name) noexcept {
    const auto end = std::find_if(name.begin(), name.end(), [](char16_t unit) { return unit == u'?' || unit == u'#'; });
    return name.substr(0, static_cast<std::size_t>(end - name.begin()));
}

/// An authority ("//host") is not part of the path.
bool hasAbsolutePath(std::u16string_view name) noexcept {
    return name.starts_with(u"//") ? getPath(name).find(u'/', 2) != std::u16string_view::npos : name.starts_with(u'/');
}

/// Most part names: a path without escapes, which keeps the rules for segments.
bool isPlainPartName(std::u16string_view name) noexcept {
    const auto endsSegment = [](char16_t last) { return last != u'/' && last != u'.'; };
    if (!name.starts_with(u'/'))
        return false;
    for (std::size_t i = 1; i < name.size(); ++i)
        if (!isPathCharacter(name[i]) || (name[i] == u'/' && !endsSegment(name[i - 1])))
            return false;
    return endsSegment(name.back());
}

std::optional<PartNameFault> findFault(std::u16string_view segment) noexcept {
    if (segment.empty())
        return PartNameFault{PartNameRule::NoEmptySegment, 0};
    if (segment.back() != u'.')
        return findForbiddenEscape(segment);
    const bool isMadeOfDots = segment.find_first_not_of(u'.') == std::u16string_view::npos;
    return PartNameFault{isMadeOfDots ? PartNameRule::NoSegmentOfDots : PartNameRule::NoDotAtEnd, segment.size() - 1};
}

} // namespace

RuleId toRuleId(PartNameRule rule) noexcept {
    switch (rule) {
    case PartNameRule::NotEmpty:
        return RuleId::PartNameNotEmpty;
    case PartNameRule::NoScheme:
    case PartNameRule::AbsolutePath:
        return RuleId::SlashInFront;
    case PartNameRule::NoSlashAtEnd:
        return RuleId::NoSlashAtEnd;
    case PartNameRule::NoEmptySegment:
        return RuleId::NoEmptySegment;
    case PartNameRule::NoSegmentOfDots:
        return RuleId::NoSegmentOfDots;
    case PartNameRule::NoDotAtEnd:
        return RuleId::NoDotAtEnd;
    case PartNameRule::NoEscapedSlash:
        return RuleId::NoEscapedSlash;
    case PartNameRule::NoEscapedUnreserved:
        break;
    }
    return RuleId::NoEscapedUnreserved;
}

std::optional<PartNameFault> findForbiddenEscape(std::u16string_view segment) noexcept {
    for (std::size_t i = segment.find(u'%'); i != std::u16string_view::npos; i = segment.find(u'%', i + 3)) {
        const int value = escapedByte(segment, i);
        if (value == '/' || value == '\\')
            return PartNameFault{PartNameRule::NoEscapedSlash, i};
        if (value >= 0 && isUnreserved(static_cast<char32_t>(value)))
            return PartNameFault{PartNameRule::NoEscapedUnreserved, i};
    }
    return std::nullopt;
}

std::optional<PartNameFault> findSegmentFault(std::u16string_view name) noexcept {
    for (std::size_t slash = name.find(u'/'); slash < name.size();) {
        const std::size_t start = slash + 1;
        slash = std::min(name.find(u'/', start), name.size());
        if (auto fault = findFault(name.substr(start, slash - start))) {
            fault->position += start;
            return fault;
        }
    }
    return std::nullopt;
}

std::optional<PartNameFault> findPartNameFault(std::u16string_view name) noexcept {
    if (isPlainPartName(name))
        return std::nullopt;
    if (name.empty())
        return PartNameFault{PartNameRule::NotEmpty, 0};
    const std::size_t delimiter = name.find_first_of(u":/?#");
    if (delimiter < name.size() && name[delimiter] == u':')
        return PartNameFault{PartNameRule::NoScheme, 0};
    if (!hasAbsolutePath(name))
        return PartNameFault{PartNameRule::AbsolutePath, 0};
    if (name.ends_with(u'/'))
        return PartNameFault{PartNameRule::NoSlashAtEnd, name.size() - 1};
    return findSegmentFault(name);
}

bool isPartName(std::u16string_view name) noexcept {
    const bool isPackageRoot = name.starts_with(u"/?") || name.starts_with(u"/#"); // without either, it has a fault
    return isPlainPartName(name) || (!isPackageRoot && isURIReference(name) && !findPartNameFault(name));
}

bool isRelationshipsPartName(std::u16string_view name) noexcept {
    const std::u16string_view path = getPath(name);
    if (!path.ends_with(RELATIONSHIPS_EXTENSION)) // the fast path for most names
        return false;
    const std::size_t folder = path.find(RELATIONSHIPS_FOLDER);
    return folder != std::u16string_view::npos &&
           path.substr(folder + RELATIONSHIPS_FOLDER.size()).ends_with(RELATIONSHIPS_EXTENSION);
}

std::u16string getRelationshipsPartName(std::u16string_view path) {
    const std::size_t file = path.rfind(u'/') + 1;
    std::u16string name;
    name.reserve(path.size() + RELATIONSHIPS_FOLDER.size() + RELATIONSHIPS_EXTENSION.size());
    name += path.substr(0, file);
    name += RELATIONSHIPS_FOLDER.substr(1);
    name += path.substr(file);
    return name += RELATIONSHIPS_EXTENSION;
}

std::u16string getSourcePartName(std::u16string_view relationshipsPartName) {
    const std::u16string_view path = getPath(relationshipsPartName);
    const std::size_t slash = path.rfind(u'/');
    const std::u16string_view file = path.substr(slash + 1);
    // The folder is dropped whatever its name is, and the first ".rels" ends the file name, not the last.
    const std::u16string_view folder = path.substr(0, slash);
    std::u16string source(folder.substr(0, folder.rfind(u'/')));
    source += u'/';
    return source += file.substr(0, file.find(RELATIONSHIPS_EXTENSION));
}

} // namespace opc::detail
