// SPDX-License-Identifier: Apache-2.0
#include "iri/IRI.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include "support/Throws.hpp"

#include <gtest/gtest.h>

#include <chrono>

namespace opc::iri {
namespace {

using test::throwsSaying;

constexpr Encoding asWritten = Encoding::AsWritten;

std::string print(const std::u16string& text) {
    return opc::detail::toUTF8String(text, false);
}

TEST(IRI, TellsItsComponentsApart) {
    const struct {
        const char16_t* text;
        const char16_t* scheme; // null: absent
        const char16_t* authority;
        const char16_t* path;
        const char16_t* query;
        const char16_t* fragment;
        bool isOpaque;
    } table[] = {
        {u"", nullptr, nullptr, u"", nullptr, nullptr, false},
        {u"/a/b.xml", nullptr, nullptr, u"/a/b.xml", nullptr, nullptr, false},
        {u"a/b:c", nullptr, nullptr, u"a/b:c", nullptr, nullptr, false},
        {u"../a?", nullptr, nullptr, u"../a", u"", nullptr, false},
        {u"#", nullptr, nullptr, u"", nullptr, u"", false},
        {u"?a:b/c?d#e?f/g:", nullptr, nullptr, u"", u"a:b/c?d", u"e?f/g:", false},
        {u"#a?b", nullptr, nullptr, u"", nullptr, u"a?b", false},
        {u"//", nullptr, u"", u"", nullptr, nullptr, false},
        {u"///a//b", nullptr, u"", u"/a//b", nullptr, nullptr, false},
        {u"//me:x@h:80?q//", nullptr, u"me:x@h:80", u"", u"q//", nullptr, false},
        {u"//[::1]:8#f", nullptr, u"[::1]:8", u"", nullptr, u"f", false},
        {u"Http://h/a%2f%41?%7e#%20", u"Http", u"h", u"/a%2f%41", u"%7e", u"%20", false},
        {u"file:///C:/a", u"file", u"", u"/C:/a", nullptr, nullptr, false},
        {u"x:/a", u"x", nullptr, u"/a", nullptr, nullptr, false},
        {u"x://h", u"x", u"h", u"", nullptr, nullptr, false},
        {u"x:", u"x", nullptr, u"", nullptr, nullptr, true},
        {u"x:a/b", u"x", nullptr, u"a/b", nullptr, nullptr, true},
        {u"x:?/q", u"x", nullptr, u"", u"/q", nullptr, true},
        {u"x:#/f", u"x", nullptr, u"", nullptr, u"/f", true},
        {u"mailto:a@b:c?d#e", u"mailto", nullptr, u"a@b:c", u"d", u"e", true},
        {u"a+-.1:b", u"a+-.1", nullptr, u"b", nullptr, nullptr, true},
    };
    for (const auto& row : table) {
        const IRI iri(row.text, Form::Uri);
        const auto same = [](bool has, const std::u16string& value, const char16_t* expected) {
            return has == (expected != nullptr) && value == (expected == nullptr ? u"" : expected);
        };
        EXPECT_TRUE(same(iri.hasScheme(), iri.getScheme(), row.scheme)) << print(row.text);
        EXPECT_TRUE(same(iri.hasAuthority(), iri.getAuthority(asWritten), row.authority)) << print(row.text);
        EXPECT_EQ(iri.getPath(asWritten), row.path) << print(row.text);
        EXPECT_TRUE(same(iri.hasQuery(), iri.getQuery(asWritten), row.query)) << print(row.text);
        EXPECT_TRUE(same(iri.hasFragment(), iri.getFragment(asWritten), row.fragment)) << print(row.text);
        EXPECT_EQ(iri.isAbsolute(), row.scheme != nullptr) << print(row.text);
        EXPECT_EQ(iri.isOpaque(), row.isOpaque) << print(row.text);
        EXPECT_EQ(iri.hasAbsolutePath(), row.path[0] == u'/') << print(row.text);
        EXPECT_EQ(iri.toAsciiString(), row.text);
    }
}

TEST(IRI, TheSchemeSpecificPartEndsAtTheFragment) {
    EXPECT_EQ(IRI(u"http://h/a?b#c").getSchemeSpecificPart(asWritten), u"//h/a?b");
    EXPECT_EQ(IRI(u"mailto:a@b?c#d").getSchemeSpecificPart(asWritten), u"a@b?c");
    EXPECT_EQ(IRI(u"/a?b#c").getSchemeSpecificPart(asWritten), u"/a?b"); // without a scheme
    EXPECT_EQ(IRI(u"#c").getSchemeSpecificPart(asWritten), u"");
}

TEST(IRI, MapsWhatAURICannotHold) {
    const struct {
        std::u16string text;
        std::u16string mapped;
        const char* why;
    } table[] = {
        {u"/\xE9", u"/%C3%A9", "two bytes of UTF-8"},
        {u"/\x20AC", u"/%E2%82%AC", "three bytes"},
        {u"/\xD83D\xDE00", u"/%F0%9F%98%80", "four bytes, from a surrogate pair"},
        {u"/\xE000\xFFFD", u"/%EE%80%80%EF%BF%BD", "private use, and the last character of its plane"},
        {u"/\xD83F\xDFFE", u"/%F0%9F%BF%BE", "a noncharacter that XML allows"},
        {u"/\x7F\x80\x9F", u"/%7F%C2%80%C2%9F", "the control characters behind ASCII"},
        {u"/\t\n\r", u"/%09%0A%0D", "the control characters of XML"},
        {u" <>\"{}|\\^`", u"%20%3C%3E%22%7B%7D%7C%5C%5E%60", "what a LEIRI adds, all of it"},
        {u"a b?c d#e f", u"a%20b?c%20d#e%20f", "in path, query and fragment"},
        {u"http://m\xFC\x40h\xF6:80/", u"http://m%C3%BC@h%C3%B6:80/", "in user and host"},
        {u"/a%20b%C3%A9", u"/a%20b%C3%A9", "escapes are not escaped again"},
        {u"file:///C:\\dir\\x y", u"file:///C:%5Cdir%5Cx%20y", "a backslash is no slash"},
        {u"/!$&'()*+,;=-._~@:", u"/!$&'()*+,;=-._~@:", "what a URI can hold stays"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(print(IRI(row.text).toAsciiString()), print(row.mapped)) << row.why;
        EXPECT_NO_THROW(IRI(row.mapped, Form::Uri)) << row.why;
    }
}

TEST(IRI, RefusesInBothForms) {
    const struct {
        std::u16string text;
        const char* says;
        const char* why;
    } table[] = {
        {u"/%", "RFC 3986", "a stray percent sign"},
        {u"/a%4", "RFC 3986", "a broken escape"},
        {u"?%zz", "RFC 3986", "an escape without digits"},
        {u"//%/", "RFC 3986", "in an authority"},
        {u"a#b#c", "RFC 3986", "a second fragment"},
        {u"/a[1]", "RFC 3986", "brackets in a path"},
        {u"?[", "RFC 3986", "a bracket in a query"},
        {u"#]", "RFC 3986", "a bracket in a fragment"},
        {u"//[::1", "RFC 3986", "an open address"},
        {u"//[1::2::3]", "RFC 3986", "a malformed address"},
        {u"//h:8a", "RFC 3986", "a port that is no number"},
        {u"//a@b@c", "RFC 3986", "two users"},
        {u":a", "RFC 3986", "an empty scheme"},
        {u"1:a", "RFC 3986", "a scheme that starts with a digit"},
        {u"a_b:c", "RFC 3986", "a colon in the first segment of a relative path"},
        {u"%41:c", "RFC 3986", "an escape in a scheme"},
        {std::u16string(u"/a\0b", 4), "position 2", "U+0000"},
        {std::u16string(u"/a\0", 3), "position 2", "U+0000 at the end"},
        {u"/\x1", "XML does not allow", "the first control character"},
        {u"/\x8", "XML does not allow", "in front of the tabulator"},
        {u"/\xB", "XML does not allow", "between line feed and carriage return"},
        {u"/\xC", "XML does not allow", "between line feed and carriage return"},
        {u"/\xE", "XML does not allow", "behind carriage return"},
        {u"/\x1F", "XML does not allow", "the last control character"},
        {u"/\xFFFE", "XML does not allow", "a noncharacter"},
        {u"/\xFFFF", "XML does not allow", "a noncharacter"},
        {u"/\xD800", "surrogate", "a lead on its own"},
        {u"/\xDC00x", "surrogate", "a trail on its own"},
    };
    for (const auto& row : table)
        for (const Form form : {Form::Leiri, Form::Uri})
            EXPECT_TRUE(throwsSaying<Exception>(row.says, [&] { IRI(row.text, form); })) << row.why;
}

TEST(IRI, TheURIFormTakesNothingThatWouldHaveToBeMapped) {
    std::u16string mapped = u" <>\"{}|\\^`\t\n\r\x7F\x80\xA0\xE9\x141\x20AC\xE000\xFFFD";
    for (const char16_t unit : mapped)
        for (const std::u16string before : {u"", u"/a", u"?", u"#", u"//h", u"x:"}) {
            const std::u16string text = before + unit;
            EXPECT_TRUE(throwsSaying<Exception>("RFC 3986", [&] { IRI(text, Form::Uri); })) << print(text);
            EXPECT_NO_THROW(IRI(text, Form::Leiri)) << print(text);
        }
    EXPECT_TRUE(throwsSaying<Exception>("RFC 3986", [] { IRI(u"/\xD83D\xDE00", Form::Uri); }));
}

TEST(IRI, AFailureNamesThePlace) {
    EXPECT_TRUE(throwsSaying<Exception>("at position 4", [] { IRI(u"/a/b[1]"); }));
    EXPECT_TRUE(throwsSaying<Exception>("at position 3", [] { IRI(u"/a/\x1"); }));
}

TEST(IRI, IsAValue) {
    IRI first(u"http://h/a?b#c");
    IRI second(u"");
    second = first;
    first = IRI(u"/");
    EXPECT_EQ(second.getPath(asWritten), u"/a");
    EXPECT_EQ(second.getFragment(asWritten), u"c");
    EXPECT_EQ(first.toAsciiString(), u"/");
}

TEST(IRI, LongTextsAreParsedInLinearTimeAndLittleStack) {
    const auto start = std::chrono::steady_clock::now();
    const auto repeat = [](const std::u16string& piece, std::size_t count) {
        std::u16string text;
        while (count-- > 0)
            text += piece;
        return text;
    };
    const std::size_t million = 1 << 20;
    for (const std::u16string& text :
         {u"/" + repeat(u"a", million), u"/" + repeat(u"%20", million), repeat(u"a", million) + u":b",
          u"?" + repeat(u"q", million), u"#" + repeat(u"%7e", million), u"//" + repeat(u"u:", million) + u"@h",
          u"//" + repeat(u"1.", million), u"//h:" + repeat(u"1", million), u"//[v1." + repeat(u":", million) + u"]",
          repeat(u"a/", million), u"/a" + repeat(u"/", million), repeat(u"../", million)})
        EXPECT_EQ(IRI(text, Form::Uri).toAsciiString(), text);
    EXPECT_EQ(IRI(repeat(u"\x20AC", million)).toAsciiString().size(), 9 * million);
    EXPECT_THROW(IRI(u"/" + repeat(u"a/", million) + u"["), Exception);
    // Far above what linear work takes, under sanitizers too, and far below what quadratic work takes.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

} // namespace
} // namespace opc::iri
