// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include "support/Throws.hpp"

#include <gtest/gtest.h>

#include <clocale>
#include <numeric>

namespace opc {
namespace {

using test::throwsSaying;

TEST(Strings, ConvertEveryEncodingLengthBothWays) {
    // The ends of every range that UTF-8 and UTF-16 encode differently.
    const struct {
        char32_t codePoint;
        std::string utf8;
        std::u16string utf16;
    } scalars[] = {
        {0x0, std::string(1, '\0'), std::u16string(1, u'\0')},
        {0x7F, "\x7F", u"\x7F"},
        {0x80, "\xC2\x80", u"\x80"},
        {0x7FF, "\xDF\xBF", u"\x7FF"},
        {0x800, "\xE0\xA0\x80", u"\x800"},
        {0xD7FF, "\xED\x9F\xBF", u"\xD7FF"},
        {0xE000, "\xEE\x80\x80", u"\xE000"},
        {0xFFFF, "\xEF\xBF\xBF", u"\xFFFF"},
        {0x10000, "\xF0\x90\x80\x80", u"\xD800\xDC00"},
        {0xFFFFF, "\xF3\xBF\xBF\xBF", u"\xDBBF\xDFFF"},
        {0x10FFFF, "\xF4\x8F\xBF\xBF", u"\xDBFF\xDFFF"},
    };
    std::string utf8;
    std::u16string utf16;
    std::wstring wide;
    for (const auto& row : scalars) {
        EXPECT_EQ(toString(row.utf8), row.utf16) << static_cast<unsigned long>(row.codePoint);
        EXPECT_EQ(detail::toUTF8String(row.utf16), row.utf8) << static_cast<unsigned long>(row.codePoint);
        utf8 += row.utf8;
        utf16 += row.utf16;
        wide += static_cast<wchar_t>(row.codePoint);
    }
    EXPECT_EQ(toString(utf8), utf16);
    EXPECT_EQ(detail::toUTF8String(utf16), utf8);
    EXPECT_EQ(toWideString(utf16), wide);
    EXPECT_EQ(toString(wide), utf16);
}

TEST(Strings, MalformedUTF8ThrowsOrIsReplacedPartByPart) {
    const struct {
        std::string utf8;
        std::u16string replaced;
        const char* why;
    } malformed[] = {
        {"a\x80z", u"a\xFFFDz", "a continuation byte on its own"},
        {"a\xC3", u"a\xFFFD", "broken off at the end"},
        {"\xC3z", u"\xFFFDz", "broken off by another character, which stays"},
        {"\xE2\x82z", u"\xFFFDz", "broken off later: still one wrong part"},
        {"\xF0\x9F\x98", u"\xFFFD", "three bytes of four"},
        {"\xC1\xBF", u"\xFFFD\xFFFD", "an overlong DEL"},
        {"\xE0\x9F\xBF", u"\xFFFD\xFFFD\xFFFD", "overlong, three bytes"},
        {"\xF0\x8F\xBF\xBF", u"\xFFFD\xFFFD\xFFFD\xFFFD", "overlong, four bytes"},
        {"\xED\xA0\x80", u"\xFFFD\xFFFD\xFFFD", "the first surrogate"},
        {"\xED\xBF\xBF", u"\xFFFD\xFFFD\xFFFD", "the last surrogate"},
        {"\xF4\x90\x80\x80", u"\xFFFD\xFFFD\xFFFD\xFFFD", "U+110000"},
        {"\xF5\x80\x80\x80", u"\xFFFD\xFFFD\xFFFD\xFFFD", "a byte that starts nothing"},
    };
    for (const auto& row : malformed) {
        EXPECT_TRUE(throwsSaying<Exception>("not valid UTF-8", [&] { toString(row.utf8); })) << row.why;
        EXPECT_EQ(toString(row.utf8, false), row.replaced) << row.why;
    }
    EXPECT_TRUE(throwsSaying<Exception>("at position 2", [] { toString("ab\xFF"); }));
}

TEST(Strings, UnpairedSurrogatesAndWideValuesOutsideUnicodeThrowOrAreReplaced) {
    const std::pair<std::u16string, std::string> unpaired[] = {
        {u"a\xD800", "a\xEF\xBF\xBD"},
        {u"\xD800z", "\xEF\xBF\xBDz"},
        {u"\xDC00z", "\xEF\xBF\xBDz"},
        {u"\xD800\xD800\xDC00", "\xEF\xBF\xBD\xF0\x90\x80\x80"},
        {u"\xDC00\xD800", "\xEF\xBF\xBD\xEF\xBF\xBD"},
    };
    for (const auto& [text, replaced] : unpaired) {
        const auto& given = text;
        EXPECT_TRUE(throwsSaying<Exception>(
            "unpaired surrogate", [&] { detail::toUTF8String(given); }))
            << replaced;
        EXPECT_TRUE(throwsSaying<Exception>("unpaired surrogate", [&] { toWideString(given); })) << replaced;
        EXPECT_EQ(detail::toUTF8String(text, false), replaced);
    }
    for (const long value : {0xD800L, 0xDFFFL, 0x110000L, -1L})
        EXPECT_TRUE(throwsSaying<Exception>("not a Unicode character at position 1", [&] {
            toString(std::wstring{L'a', static_cast<wchar_t>(value)});
        })) << value;
}

TEST(Strings, ASCIIEndsAt7FAndItsLettersAloneHaveCases) {
    EXPECT_EQ(toASCIIString(std::u16string(u"/a\0\x7F", 4)), std::string("/a\0\x7F", 4));
    EXPECT_TRUE(throwsSaying<Exception>(
        "not US-ASCII", [] { toASCIIString(u"/\x80"); }));
    EXPECT_TRUE(throwsSaying<Exception>("at position 1", [] { toASCIIString(u"a\x141"); })); // "A" plus 0x100
    std::u16string all(0x180, u'\0');
    std::iota(all.begin(), all.end(), u'\0');
    const std::u16string lower = toLowerASCIIString(all);
    for (std::size_t unit = 0; unit < all.size(); ++unit)
        EXPECT_EQ(lower[unit], unit >= 'A' && unit <= 'Z' ? unit + 0x20 : unit);
}

TEST(Strings, CaselessCompareOrdersByFoldedUnits) {
    const struct {
        std::u16string smaller;
        std::u16string greater;
        const char* why;
    } ordered[] = {
        {u"", u"a", "a prefix first"},
        {u"/A", u"/ab", "a prefix first, folded"},
        {u"A", u"b", "folded letters"},
        {u"a", u"B", "folded letters"},
        {u"_", u"A", "\"_\" stands between upper and lower case: letters fold to lower case"},
        {u"Z", u"{", "behind the last letter"},
        {u"[", u"{", "0x20 apart, but no letters"},
        {u"a", u"\xE9", "units compare as they are"},
        {u"\x7FFF", u"\x8000", "units have no sign"},
        {u"\xC9", u"\xE9", "only ASCII folds"},
        {u"a\xFF", u"A\x100", "the first difference decides"},
        {std::u16string(u"a\0b", 3), std::u16string(u"a\0c", 3), "a NUL ends nothing"},
    };
    for (const auto& row : ordered) {
        EXPECT_LT(caselessCompare(row.smaller, row.greater), 0) << row.why;
        EXPECT_GT(caselessCompare(row.greater, row.smaller), 0) << row.why;
    }
    EXPECT_EQ(caselessCompare(u"/Word/[ZA]@.XML", u"/wORD/[za]@.xml"), 0);
}

TEST(Strings, ExtensionIsWhatFollowsTheLastDotOfTheLastSegment) {
    const std::pair<const char16_t*, const char16_t*> table[] = {
        {u"/a/b.xml", u"xml"}, {u"/a/b.tar.GZ", u"GZ"}, {u"/_rels/.rels", u"rels"}, {u"/a.b/c", u""},
        {u"/a.b/", u""},       {u"/a.", u""},           {u"a.xml", u"xml"},         {u"", u""},
    };
    for (const auto& [path, extension] : table)
        EXPECT_EQ(detail::getExtension(path), extension) << detail::toUTF8String(path);
}

TEST(Strings, UserTextFollowsTheLocaleAndNeverThrows) {
    const std::u16string text = std::u16string(u"a\xE9\x20AC\xD83D\xDE00\xD800\0z", 8);
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const std::pair<const char*, std::string> locales[] = {
        {"C", std::string("a????\0z", 7)}, {"C.UTF-8", std::string("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80?\0z", 13)}};
    for (const auto& [locale, expected] : locales) {
        ASSERT_NE(std::setlocale(LC_ALL, locale), nullptr) << locale;
        EXPECT_EQ(toUDEString(text), expected) << locale;
        std::setlocale(LC_ALL, before.c_str());
    }
}

} // namespace
} // namespace opc
