// SPDX-License-Identifier: Apache-2.0
#include <opc/core/PartNames.hpp>

#include <algorithm>
#include <array>

namespace opc::detail {

namespace {

constexpr std::u16string_view packageRoot = u"/";
constexpr std::u16string_view packageRelationships = u"/_rels/.rels";
constexpr std::u16string_view relationshipsFolder = u"/_rels/";
constexpr std::u16string_view relationshipsExtension = u".rels";

constexpr bool isAlphanumeric(char16_t unit) noexcept {
    return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') || (unit >= u'0' && unit <= u'9');
}

/// Which characters stand for themselves in a path: those of RFC 3986 §3.3, and the "/".
constexpr auto pathCharacters = [] {
    constexpr std::u16string_view symbols = u"-._~!$&'()*+,;=:@/";
    std::array<bool, 0x80> table{};
    for (char16_t unit = 0; unit < table.size(); ++unit)
        table[unit] = isAlphanumeric(unit) || symbols.find(unit) != std::u16string_view::npos;
    return table;
}();

bool isPathCharacter(char16_t unit) noexcept {
    return unit < pathCharacters.size() && pathCharacters[unit];
}

bool isUnreserved(char16_t unit) noexcept {
    return isAlphanumeric(unit) || unit == u'-' || unit == u'.' || unit == u'_' || unit == u'~';
}

/// The value of a hexadecimal digit; -1 for any other unit.
int hexDigitValue(char16_t unit) noexcept {
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    if (unit >= u'a' && unit <= u'f')
        return unit - u'a' + 10;
    return unit >= u'A' && unit <= u'F' ? unit - u'A' + 10 : -1;
}

bool isEscape(std::u16string_view text, std::size_t at) noexcept {
    return at + 2 < text.size() && hexDigitValue(text[at + 1]) >= 0 && hexDigitValue(text[at + 2]) >= 0;
}

/// True for the characters of a path, and with "?" those of a query or a fragment (RFC 3986 §3.3 to §3.5).
bool isMadeOfPathCharacters(std::u16string_view text, bool questionMarkToo) noexcept {
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == u'%' ? !isEscape(text, i) : !isPathCharacter(text[i]) && !(questionMarkToo && text[i] == u'?'))
            return false;
    }
    return true;
}

/// Cuts a text before the first of a character. @return what stood behind that.
std::u16string_view cutBefore(std::u16string_view& text, char16_t unit) noexcept {
    const std::size_t at = std::min(text.find(unit), text.size());
    const std::u16string_view tail = text.substr(std::min(at + 1, text.size()));
    text = text.substr(0, at);
    return tail;
}

// ECMA-376-2 §6.2.2.2: no segment holds the escape of a slash, a backslash or an unreserved character. The text is a
// URI reference, so two hexadecimal digits follow every "%".
bool hasForbiddenEscape(std::u16string_view segment) noexcept {
    for (std::size_t i = segment.find(u'%'); i != std::u16string_view::npos; i = segment.find(u'%', i + 3)) {
        const auto value = static_cast<char16_t>(hexDigitValue(segment[i + 1]) * 16 + hexDigitValue(segment[i + 2]));
        if (value == u'/' || value == u'\\' || isUnreserved(value))
            return true;
    }
    return false;
}

bool isPartNameSegment(std::u16string_view segment) noexcept {
    return !segment.empty() && segment.back() != u'.' && !hasForbiddenEscape(segment);
}

// The segments of the whole text, a query and a fragment being cut at their slashes too.
bool hasPartNameSegments(std::u16string_view name) noexcept {
    for (std::size_t start = 1; start <= name.size();) {
        const std::size_t end = std::min(name.find(u'/', start), name.size());
        if (!isPartNameSegment(name.substr(start, end - start)))
            return false;
        start = end + 1;
    }
    return true;
}

std::u16string_view getPath(std::u16string_view name) noexcept {
    const auto end = std::find_if(name.begin(), name.end(), [](char16_t unit) { return unit == u'?' || unit == u'#'; });
    return name.substr(0, static_cast<std::size_t>(end - name.begin()));
}

} // namespace

bool isPartName(std::u16string_view name) noexcept {
    // Neither a scheme nor an authority can stand in a part name, so what is left of a URI is a path and what follows.
    std::u16string_view path = name;
    const std::u16string_view fragment = cutBefore(path, u'#');
    const std::u16string_view query = cutBefore(path, u'?');
    return path.starts_with(u'/') && path != packageRoot && isMadeOfPathCharacters(path, false) &&
           isMadeOfPathCharacters(query, true) && isMadeOfPathCharacters(fragment, true) && hasPartNameSegments(name);
}

bool isRelationshipsPartName(std::u16string_view name) noexcept {
    const std::u16string_view path = getPath(name);
    if (!path.ends_with(relationshipsExtension)) // which most names tell at once
        return false;
    const std::size_t folder = path.find(relationshipsFolder);
    return folder != std::u16string_view::npos &&
           path.substr(folder + relationshipsFolder.size()).ends_with(relationshipsExtension);
}

std::u16string getSourcePartName(std::u16string_view relationshipsPartName) {
    if (relationshipsPartName == packageRelationships)
        return std::u16string(packageRoot);
    const std::u16string_view path = getPath(relationshipsPartName);
    const std::size_t slash = path.rfind(u'/');
    const std::u16string_view file = path.substr(slash + 1);
    // The folder goes whatever its name is, and the first ".rels" ends the file name, not the last.
    const std::u16string_view folder = path.substr(0, slash);
    std::u16string source(folder.substr(0, folder.rfind(u'/')));
    source += u'/';
    return source += file.substr(0, file.find(relationshipsExtension));
}

} // namespace opc::detail
