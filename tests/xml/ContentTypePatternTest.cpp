// SPDX-License-Identifier: Apache-2.0
#include "XmlTestSupport.hpp"

#include <opc/core/ContentTypePattern.hpp>

#include <xercesc/util/regx/RegularExpression.hpp>

namespace opc::model {
namespace {

/// The pattern facet of ST_ContentType as the standard publishes it, its reference resolved.
const std::u16string token = u"([\\p{IsBasicLatin}-[\\p{Cc}\x7F\\(\\)<>@,;:\\\\\"/\\[\\]\\?=\\{\\}\\s\\t]])+";
const std::u16string quoted = u"\"(([\\p{IsLatin-1Supplement}\\p{IsBasicLatin}-[\\p{Cc}\x7F\"\\n\\r]]|(\\s+))|"
                              u"(\\\\[\\p{IsBasicLatin}]))*\"";
const std::u16string published =
    token + u"/" + token + u"((\\s+)*;(\\s+)*((" + token + u"=((" + token + u")|(" + quoted + u")))))*";

using opc::detail::matchesContentTypePattern;

class ContentTypePatternTest : public ::testing::Test {
protected:
    void expectSame(const std::u16string& text) {
        const bool expected = expression_.matches(text.c_str());
        ++(expected ? accepted_ : refused_);
        EXPECT_EQ(matchesContentTypePattern(text), expected) << opc::detail::toUTF8String(text);
    }

    /// Every text of up to `length` characters of the alphabet, between the two others.
    void expectSameForAll(const std::u16string& before, std::u16string_view alphabet, std::size_t length,
                          const std::u16string& after = u"") {
        expectSame(before + after);
        if (length != 0)
            for (const char16_t c : alphabet)
                expectSameForAll(before + c, alphabet, length - 1, after);
    }

    XercesGuard guard_;
    xercesc::RegularExpression expression_{published.c_str(), u"X"};
    std::size_t accepted_ = 0;
    std::size_t refused_ = 0;
};

TEST_F(ContentTypePatternTest, AcceptsExactlyThePublishedLanguage) {
    expectSameForAll(u"", u"a/;=\" ", 6);
    expectSameForAll(u"a/b", u"c;= \"", 6);
    expectSameForAll(u"a/b;c=\"", u"\"\\x \n;=", 4);
    expectSameForAll(u"a/b;c=\"", u"\"\\; ", 6, u"\"");
    expectSameForAll(u"a/b;c=\"", u"\"\\\u0085\u007F\u00E9\u0100\r", 4, u"\";d=e");
    std::u16string characters = u"\u0600\u2000\u2003\u200B\u3000\uFEFF\uFFFD"; // every single one in every place
    for (char16_t c = 1; c < 0x200; ++c)
        characters += c;
    const std::pair<const char16_t*, const char16_t*> places[] = {
        {u"", u"/b"},          {u"a", u"/b"},        {u"a/", u""},           {u"a/b", u""},
        {u"a/b", u";c=d"},     {u"a/b;", u"c=d"},    {u"a/b;c", u"=d"},      {u"a/b;c=", u""},
        {u"a/b;c=d", u";e=f"}, {u"a/b;c=\"", u"\""}, {u"a/b;c=\"\\", u"\""}, {u"a/b;c=\"d\"", u""}};
    for (const auto& [before, after] : places)
        for (const char16_t c : characters)
            expectSame(std::u16string(before) + c + after);
    expectSame(u"application/vnd.openxmlformats-package.relationships+xml");
    expectSame(u"text/plain ;\t charset=\"a \\\" b\" ;x=y");
    EXPECT_GT(accepted_, 1000U);
    EXPECT_GT(refused_, 10000U);
    EXPECT_FALSE(matchesContentTypePattern(std::u16string_view(u"a/b\0", 4)));
    EXPECT_TRUE(matchesContentTypePattern(std::u16string_view(u"a/b;c=\"\\\0\"", 10))) << "NUL is Basic Latin";
}

TEST_F(ContentTypePatternTest, TakesLinearTimeAndNoStack) {
    const std::u16string many(10000000, u' ');
    EXPECT_FALSE(matchesContentTypePattern(u"a/b;c=\"" + many));
    EXPECT_TRUE(matchesContentTypePattern(u"a/b;c=\"" + many + u"\""));
    EXPECT_FALSE(matchesContentTypePattern(u"a/b" + many));
}

} // namespace
} // namespace opc::model
