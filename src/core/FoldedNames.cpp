// SPDX-License-Identifier: Apache-2.0
#include <opc/core/FoldedNames.hpp>

#include <opc/core/Characters.hpp>
#include <opc/core/Strings.hpp>

#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <vector>

namespace opc::detail {

namespace {

constexpr int MAXIMUM_COMBINING = 30;

/// Characters of which some programs make "_", since file systems of Windows have no names with them.
constexpr std::string_view REPLACED = ":<>|\"?*";

/// Decodes escapes, and those that come out of escapes.
std::string decode(std::string_view name) {
    std::string text;
    for (const char c : name) {
        text += c;
        while (text.size() >= 3) {
            const int byte = escapedByte<char>(text, text.size() - 3);
            if (byte < 0)
                break;
            text.resize(text.size() - 3);
            text += static_cast<char>(byte);
        }
    }
    return text;
}

std::string fromLatin1(std::string_view text) {
    std::u16string wide;
    for (const char c : text)
        wide += static_cast<unsigned char>(c);
    return toUTF8String(wide);
}

/// Control characters and the ends of lines and paragraphs, which programs that unpack leave out.
bool isControl(utf8proc_int32_t character) {
    const utf8proc_category_t category = utf8proc_category(character);
    return category == UTF8PROC_CATEGORY_CC || category == UTF8PROC_CATEGORY_ZL || category == UTF8PROC_CATEGORY_ZP;
}

/// Drops control characters, and combining marks beyond the Stream-Safe Text Format (UAX #15): ordering more of them
/// would take long.
/// @return nothing when the text is not UTF-8.
std::optional<std::string> leaveOut(std::string_view text) {
    std::string result;
    for (int combining = 0; !text.empty();) {
        utf8proc_int32_t character = 0;
        const utf8proc_ssize_t size = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                                       static_cast<utf8proc_ssize_t>(text.size()), &character);
        if (size <= 0)
            return std::nullopt;
        const bool isLeftOut = isControl(character);
        if (!isLeftOut)
            combining = utf8proc_get_property(character)->combining_class != 0 ? combining + 1 : 0;
        const bool isTurkish = character == 0x130 || character == 0x131; // which Java compares as equal to "i"
        if (!isLeftOut && combining <= MAXIMUM_COMBINING)
            result.append(isTurkish ? "i" : text.substr(0, static_cast<std::size_t>(size)));
        text.remove_prefix(static_cast<std::size_t>(size));
    }
    return result;
}

/// @return nothing when the text is not UTF-8.
std::optional<std::string> normalize(std::string_view name) {
    const std::optional<std::string> text = leaveOut(name);
    if (!text)
        return std::nullopt;
    constexpr auto options = static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPAT | UTF8PROC_COMPOSE |
                                                            UTF8PROC_CASEFOLD | UTF8PROC_IGNORE);
    utf8proc_uint8_t* raw = nullptr;
    const utf8proc_ssize_t size = utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text->data()),
                                               static_cast<utf8proc_ssize_t>(text->size()), &raw, options);
    const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(raw, &std::free);
    if (size < 0)
        throw std::bad_alloc(); // the only failure left
    return std::string(reinterpret_cast<const char*>(raw), static_cast<std::size_t>(size));
}

std::string_view trim(std::string_view segment) {
    segment.remove_prefix(std::min(segment.find_first_not_of(' '), segment.size()));
    return segment.substr(0, segment.find_last_not_of(' ') + 1);
}

/// Without blanks and dots behind it, and without versions of VMS (";2"), which some programs take off.
std::string_view withoutEnding(std::string_view segment) {
    for (;;) {
        const std::string_view kept = segment.substr(0, segment.find_last_not_of(" .") + 1);
        const std::size_t digits = kept.find_last_not_of("0123456789") + 1;
        const bool hasVersion = kept.substr(0, digits).ends_with(';');
        if (!hasVersion)
            return kept;
        segment = kept.substr(0, digits - 1);
    }
}

std::string foldPath(std::string_view path) {
    std::vector<std::string_view> segments;
    for (std::size_t start = 0; start <= path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        const std::string_view segment = trim(path.substr(start, end - start));
        const std::string_view kept = withoutEnding(segment);
        if (segment == ".." && !segments.empty())
            segments.pop_back();
        else if (!kept.empty())
            segments.push_back(kept);
        start = end + 1;
    }
    std::string result;
    for (const std::string_view segment : segments)
        result.append(result.empty() ? "" : "/").append(segment);
    return result;
}

} // namespace

bool isPlainName(std::string_view name) noexcept {
    bool isSegmentOpen = false;     // by a letter, digit, hyphen or underscore
    for (const char32_t c : name) { // bytes that are not ASCII are not unreserved either
        const bool isSeparator = c == U'.' || c == U'/';
        if (isSeparator ? !isSegmentOpen : !isUnreserved(c) || c == U'~')
            return false;
        isSegmentOpen = !isSeparator;
    }
    return isSegmentOpen;
}

std::string foldName(std::string_view name) {
    const std::string_view path = name.substr(name.starts_with('/') ? 1 : 0);
    if (isPlainName(path)) {
        std::string folded(path);
        std::transform(folded.begin(), folded.end(), folded.begin(), toLowerASCII<char>);
        return folded;
    }
    std::string decoded = decode(name);
    decoded.resize(std::min(decoded.find('\0'), decoded.size())); // where many readers end a text
    std::optional<std::string> text = normalize(decoded);
    if (!text)
        text = normalize(fromLatin1(decoded));
    for (char& c : *text)
        c = c == '\\' ? '/' : REPLACED.find(c) != std::string_view::npos ? '_' : c;
    return foldPath(*text);
}

std::set<std::string> foldTarget(std::u16string_view source, std::u16string_view target) {
    const bool isAbsolute = target.starts_with(u'/') || target.starts_with(u'\\');
    std::u16string path(isAbsolute ? u"" : source.substr(0, source.rfind(u'/') + 1));
    const std::string whole = toUTF8String(path.append(target), false);
    std::set<std::string> folded{foldName(whole)};
    if (const std::size_t end = whole.find_first_of("?#"); end != whole.npos)
        folded.insert(foldName(whole.substr(0, end)));
    return folded;
}

} // namespace opc::detail
