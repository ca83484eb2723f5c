// SPDX-License-Identifier: Apache-2.0
#include "XmlTestSupport.hpp"

#include "xml/ContentTypePattern.hpp"

#include <xercesc/util/regx/RegularExpression.hpp>

#include <string>
#include <vector>

namespace opc::model {
namespace {

/// The pattern facet of ST_ContentType as the standard publishes it, matched by Xerces.
class PublishedPattern {
public:
    bool matches(const std::u16string& text) const { return expression_.matches(text.c_str()); }

private:
    static std::u16string text() {
        const std::u16string token = uR"(([\p{IsBasicLatin}-[\p{Cc}&#127;\(\)<>@,;:\\"/\[\]\?=\{\}\s\t]])+)";
        const std::u16string quoted =
            uR"(("(([\p{IsLatin-1Supplement}\p{IsBasicLatin}-[\p{Cc}&#127;"\n\r]]|(\s+))|(\\[\p{IsBasicLatin}]))*"))";
        const std::u16string pattern = u"(((" + token + u"))/((" + token + u"))((\\s+)*;(\\s+)*(((" + token + u"))=((" +
                                       token + u")|" + quoted + u")))*)";
        std::u16string resolved;
        for (std::size_t i = 0; i < pattern.size(); ++i) {
            const bool reference = pattern.compare(i, 6, u"&#127;") == 0;
            resolved += reference ? u'\u007F' : pattern[i];
            i += reference ? 5 : 0;
        }
        return resolved;
    }

    XercesGuard guard_;
    xercesc::RegularExpression expression_{text().c_str(), u"X"};
};

class ContentTypePatternTest : public ::testing::Test {
protected:
    void expectSame(const std::u16string& text) {
        const bool expected = published_.matches(text);
        accepted_ += expected ? 1 : 0;
        ++compared_;
        if (matchesContentTypePattern(text) != expected) {
            ADD_FAILURE() << (expected ? "refuses: " : "accepts: ") << opc::detail::toUTF8String(text);
        }
    }

    /// Every text of up to `length` characters of the alphabet, between the two others.
    void expectSameForAll(const std::u16string& before, const std::u16string& alphabet, std::size_t length,
                          const std::u16string& after) {
        std::vector<std::u16string> current = {u""};
        for (std::size_t size = 0; size <= length; ++size) {
            std::vector<std::u16string> longer;
            for (const auto& middle : current) {
                expectSame(before + middle + after);
                for (const char16_t c : alphabet) {
                    longer.push_back(middle + c);
                }
            }
            current.swap(longer);
        }
    }

    PublishedPattern published_;
    std::size_t compared_ = 0;
    std::size_t accepted_ = 0;
};

TEST_F(ContentTypePatternTest, accepts_exactly_the_published_language_over_short_texts) {
    expectSameForAll(u"", u"a/;=\" ", 7, u"");
    EXPECT_GT(accepted_, 10U);
    expectSameForAll(u"a/b", u"c;= \"", 6, u"");
    expectSameForAll(u"a/b;c=\"", u"\"\\x \n;=", 5, u"");
    expectSameForAll(u"a/b;c=\"", u"\"\\; ", 6, u"\"");
    expectSameForAll(u"a/b;c=\"", u"\"\\\u0085\u007F\u00E9\u0100\r", 4, u"\";d=e");
    EXPECT_GT(accepted_, 1000U);
    EXPECT_GT(compared_ - accepted_, 10000U);
}

TEST_F(ContentTypePatternTest, agrees_on_every_single_character_in_every_place) {
    const std::vector<std::pair<std::u16string, std::u16string>> places = {
        {u"", u"/b"},          {u"a", u"/b"},        {u"a/", u""},           {u"a/b", u""},
        {u"a/b", u";c=d"},     {u"a/b;", u"c=d"},    {u"a/b;c", u"=d"},      {u"a/b;c=", u""},
        {u"a/b;c=d", u";e=f"}, {u"a/b;c=\"", u"\""}, {u"a/b;c=\"\\", u"\""}, {u"a/b;c=\"d\"", u""},
    };
    for (const auto& [before, after] : places) {
        for (char16_t c = 1; c < 0x200; ++c) {
            expectSame(before + c + after);
        }
        for (const char16_t c : u"\u0600\u2000\u2003\u3000\uFEFF\uFFFD") {
            expectSame(before + (c == 0 ? u'\u200B' : c) + after);
        }
    }
    EXPECT_GT(accepted_, 500U);
}

TEST_F(ContentTypePatternTest, judges_known_media_types) {
    struct Case {
        const char16_t* text;
        bool expected;
        const char* why;
    };
    const std::vector<Case> cases = {
        {u"application/vnd.openxmlformats-package.relationships+xml", true, "a plain type"},
        {u"text/plain; charset=utf-8", true, "a space after the semicolon"},
        {u"text/plain ;\t charset=\"a \\\" b\" ;x=y", true, "white space on both sides, an escaped quote"},
        {u"text/plain;a=\"\\\"", true, "the backslash may be an ordinary character"},
        {u"text/plain;a=\"\"", true, "an empty quoted value"},
        {u"", false, "nothing"},
        {u"text", false, "no subtype"},
        {u"text/plain;", false, "a semicolon without a parameter"},
        {u"text/plain ", false, "white space at the end"},
        {u" text/plain", false, "white space at the start"},
        {u"text/plain; a = b", false, "white space around the equals sign"},
        {u"text/plain;a=", false, "no value"},
        {u"text/plain;a=\"x", false, "an open quote"},
        {u"text/pl\u00E4in", false, "not ASCII outside quotes"},
    };
    for (const auto& [text, expected, why] : cases) {
        EXPECT_EQ(matchesContentTypePattern(text), expected) << why;
        EXPECT_EQ(published_.matches(text), expected) << why;
    }
    EXPECT_FALSE(matchesContentTypePattern(std::u16string_view(u"a/b\0", 4)));
    EXPECT_TRUE(matchesContentTypePattern(std::u16string_view(u"a/b;c=\"\\\0\"", 10)))
        << "an escaped NUL is Basic Latin";
}

TEST_F(ContentTypePatternTest, takes_linear_time_and_no_stack) {
    const std::u16string many(10000000, u' ');
    EXPECT_FALSE(matchesContentTypePattern(u"a/b;c=\"" + many));
    EXPECT_TRUE(matchesContentTypePattern(u"a/b;c=\"" + many + u"\""));
    EXPECT_FALSE(matchesContentTypePattern(u"a/b" + many));
}

} // namespace
} // namespace opc::model
