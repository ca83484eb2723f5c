// SPDX-License-Identifier: Apache-2.0
#include "iri/IRI.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include "support/Table.hpp"
#include "support/Throws.hpp"

#include <gtest/gtest.h>

#include <ctime>

namespace opc::iri {
namespace {

using test::throwsSaying;

constexpr Encoding asWritten = Encoding::AsWritten;

std::string print(const std::u16string& text) {
    return opc::detail::toUTF8String(text, false);
}

/// The components as a row of the table has them.
std::vector<std::string> componentsOf(const IRI& iri) {
    const auto print = [](bool has, const std::u16string& text) { return has ? toASCIIString(text) : "-"; };
    EXPECT_EQ(iri.isAbsolute(), iri.hasScheme());
    EXPECT_EQ(iri.hasAbsolutePath(), iri.getPath(asWritten).starts_with(u'/'));
    return {toASCIIString(iri.toAsciiString()),
            print(iri.hasScheme(), iri.getScheme()),
            print(iri.hasAuthority(), iri.getAuthority(asWritten)),
            print(true, iri.getPath(asWritten)),
            print(iri.hasQuery(), iri.getQuery(asWritten)),
            print(iri.hasFragment(), iri.getFragment(asWritten)),
            print(iri.isOpaque(), u"opaque")};
}

TEST(IRI, TellsItsComponentsApart) {
    for (const auto& row : test::readTable("iri/components.tsv")) {
        const std::u16string text = toString(row[0]);
        if (row[1] != "refused")
            EXPECT_EQ(componentsOf(IRI(text, Form::Uri)), row);
        else
            for (const Form form : {Form::Leiri, Form::Uri})
                EXPECT_TRUE(throwsSaying<Exception>("RFC 3986", [&] { IRI(text, form); })) << row[0] << ": " << row[2];
    }
    EXPECT_TRUE(throwsSaying<Exception>("at position 4", [] { IRI(u"/a/b[1]"); }));
}

TEST(IRI, TheSchemeSpecificPartEndsAtTheFragment) {
    EXPECT_EQ(IRI(u"http://h/a?b#c").getSchemeSpecificPart(asWritten), u"//h/a?b");
    EXPECT_EQ(IRI(u"mailto:a@b?c#d").getSchemeSpecificPart(asWritten), u"a@b?c");
    EXPECT_EQ(IRI(u"/a?b#c").getSchemeSpecificPart(asWritten), u"/a?b"); // without a scheme
    EXPECT_EQ(IRI(u"#c").getSchemeSpecificPart(asWritten), u"");
}

TEST(IRI, MapsWhatAURICannotHold) {
    for (const auto& row : test::readTable("iri/mapping.tsv")) {
        EXPECT_EQ(print(IRI(toString(test::unescaped(row[0]))).toAsciiString()), row[1]) << row[2];
        EXPECT_NO_THROW(IRI(toString(row[1]), Form::Uri)) << row[2];
    }
    for (const char16_t unit : std::u16string(u" <>\"{}|\\^`\t\n\r\x7F\x80\xA0\xE9\x141\x20AC\xE000\xFFFD"))
        for (const std::u16string before : {u"", u"/a", u"?", u"#", u"//h", u"x:"}) {
            const std::u16string text = before + unit;
            EXPECT_TRUE(throwsSaying<Exception>("RFC 3986", [&] { IRI(text, Form::Uri); })) << print(text);
            EXPECT_NO_THROW(IRI(text, Form::Leiri)) << print(text);
        }
    EXPECT_TRUE(throwsSaying<Exception>("RFC 3986", [] { IRI(u"/\xD83D\xDE00", Form::Uri); }));
}

TEST(IRI, RefusesWhatXMLDoesNotAllow) {
    const std::u16string units(u"\0\x1\x8\xB\xC\xE\x1F\xFFFE\xFFFF\xD800\xDC00", 11);
    for (std::size_t i = 0; i < units.size(); ++i)
        for (const Form form : {Form::Leiri, Form::Uri}) {
            const char* const says = i == 0 ? "position 2" : i < 9 ? "XML does not allow" : "surrogate";
            EXPECT_TRUE(throwsSaying<Exception>(says, [&] { IRI(u"/a" + units.substr(i, 1), form); })) << i;
            EXPECT_THROW(IRI(u"/a" + units.substr(i, 1) + u"b", form), Exception) << i;
        }
    EXPECT_TRUE(throwsSaying<Exception>("at position 3", [] { IRI(u"/a/\x1"); }));
}

TEST(IRI, LongTextsAreParsedInLinearTimeAndLittleStack) {
    const std::clock_t start = std::clock();
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
    EXPECT_LT(std::clock() - start, 30 * CLOCKS_PER_SEC);
}

} // namespace
} // namespace opc::iri
