// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/ContentType.hpp>

#include "support/Throws.hpp"

#include <boost/function.hpp>
#include <boost/spirit/include/qi.hpp>
#include <gtest/gtest.h>

#include <functional>

namespace opc::model {
namespace {

using test::throws;

constexpr const char* doesNotParse = "Could not successfully parse content type string";

bool isAccepted(const std::u16string& text) {
    try {
        const ContentType accepted(text);
        return true;
    } catch (const InvalidContentType&) {
        return false;
    }
}

/// The media-type grammar written down rule by rule, as an oracle.
class Grammar : public boost::spirit::qi::grammar<std::wstring::const_iterator> {
public:
    Grammar() : Grammar::base_type(mediaType_) {
        namespace qi = boost::spirit::qi;
        using qi::standard_wide::char_;
        const auto printable = char_(L' ', L'~');
        const auto space = qi::lit(L' ');
        token_ = +(printable - char_(L"()<>@,;:\\\"/[]?={} \t"));
        quoted_ = L'"' >> +(printable - L'"') >> L'"';
        parameter_ = *space >> L';' >> *space >> token_ >> L'=' >> (token_ | quoted_);
        mediaType_ = token_ >> L'/' >> token_ >> *parameter_;
    }

    bool accepts(const std::wstring& text) const {
        auto begin = text.begin();
        return boost::spirit::qi::parse(begin, text.end(), *this) && begin == text.end();
    }

private:
    using Rule = boost::spirit::qi::rule<std::wstring::const_iterator>;
    Rule token_, quoted_, parameter_, mediaType_;
};

TEST(ContentType, KeepsPartsAsWrittenAndNormalizesTheText) {
    const struct {
        const char16_t* text;
        const char16_t* type;
        const char16_t* subType;
        const char16_t* normalized;
    } table[] = {
        {u"application/xml", u"application", u"xml", u"application/xml"},
        {u"Text/Plain ; Format=flowed; charset=\"a b\"", u"Text", u"Plain",
         u"Text/Plain;charset=\"a b\";Format=flowed"},
        {u"application/xml ;  a=b", u"application", u"xml", u"application/xml;a=b"},
        {u"a/b;q=\"xy\"", u"a", u"b", u"a/b;q=xy"},
        {u"a/b;q=\"\\\"", u"a", u"b", u"a/b;q=\"\\\""}, // a backslash is an ordinary character
        {u"a/b;x=1;X=2", u"a", u"b", u"a/b;x=2"},       // the first spelling, the last value
        {u"!#$%&'*+-.^_`|~/~", u"!#$%&'*+-.^_`|~", u"~", u"!#$%&'*+-.^_`|~/~"},
    };
    for (const auto& row : table) {
        const ContentType contentType(row.text);
        EXPECT_EQ(contentType.getType(), row.type);
        EXPECT_EQ(contentType.getSubType(), row.subType);
        EXPECT_EQ(contentType.toString(), row.normalized);
        EXPECT_EQ(ContentType(contentType.toString()).toString(), row.normalized);
    }
}

TEST(ContentType, RefusesWhatTheGrammarDoesNotGive) {
    const std::u16string refused[] = {
        u"",
        u"a",
        u"a/",
        u"/b",
        u"a/b/c",
        u" application/xml",
        u"application/xml ",
        u"application / xml",
        u"application/xml; a = b",
        u"application/xml;a=",
        u"application/xml;a=\"\"",
        u"a/b;",
        u"a/b;c",
        u"a/b;=c",
        u"a/b;c=\"d",
        u"a/b;c=\"d\\\"e\"",
        u"a/b\t;c=d",
        u"a/b;c=\"\u00E9\"",
        u"\u00E9/b",
        u"a/b;c=d;",
        u"a/b;c=d ",
        std::u16string(u"a/b\0", 4),
        u"a/b;c=\"\td\"",
    };
    for (const auto& text : refused)
        EXPECT_TRUE(throws<InvalidContentType>(doesNotParse, [&] { ContentType c(text); }))
            << detail::toUTF8String(text);
    EXPECT_TRUE(throws<InvalidContentType>(doesNotParse, [] { ContentType c(static_cast<const char16_t*>(nullptr)); }));
}

TEST(ContentType, AcceptsTheLanguageOfTheGrammar) {
    const Grammar grammar;
    long accepted = 0;
    const auto compare = [&](const std::u16string& text) {
        const bool oracle = grammar.accepts(toWideString(text));
        ASSERT_EQ(isAccepted(text), oracle) << detail::toUTF8String(text);
        accepted += oracle ? 1 : 0;
    };
    const std::function<void(const std::u16string&, int)> extend = [&](const std::u16string& text, int left) {
        compare(text);
        if (left != 0)
            for (const char16_t unit : std::u16string_view(u"a/; =\"\\"))
                extend(text + unit, left - 1);
    };
    extend(u"", 5);
    extend(u"a/b", 6);
    extend(u"a/b;c=", 6);
    for (char16_t unit = 0; unit < 0x180; ++unit) // every character in every place
        for (const auto& [before, after] : {std::pair(u"a", u"/b"),
                                            {u"a/", u""},
                                            {u"a/b;", u"=c"},
                                            {u"a/b;c=", u""},
                                            {u"a/b;c=\"", u"\""},
                                            {u"a/b", u";c=d"}})
            compare(std::u16string(before) + unit + after);
    EXPECT_GT(accepted, 1000);
}

TEST(ContentType, ParsesLongTextsInLinearTime) {
    const std::u16string spaces(1'000'000, u' ');
    EXPECT_FALSE(isAccepted(u"a/b" + spaces));
    EXPECT_FALSE(isAccepted(u"a/b;c=\"" + spaces));
    EXPECT_TRUE(isAccepted(u"a/b" + spaces + u";" + spaces + u"c=\"" + spaces + u"\""));
}

TEST(ContentType, ComparesTheNormalizedTextWithASCIILettersFolded) {
    EXPECT_TRUE(ContentType(u"Application/XML") == ContentType(u"application/xml"));
    EXPECT_TRUE(ContentType(u"a/b;c=D") == ContentType(u"a/b;C=d"));
    EXPECT_TRUE(ContentType(u"a/b;x=1;y=2") == ContentType(u"a/b ; y=2; x=1"));
    EXPECT_TRUE(ContentType(u"a/b") != ContentType(u"a/c"));
    EXPECT_TRUE(ContentType(u"A/b") < ContentType(u"a/C"));
    EXPECT_FALSE(ContentType(u"A/b") < ContentType(u"a/B"));
}

TEST(ContentType, EditsParameters) {
    ContentType contentType(u"a/b;Charset=x");
    EXPECT_TRUE(contentType.hasParameter(u"CHARSET"));
    contentType.addParameter(u"charset", u"utf-8"); // the stored spelling stays
    contentType.addParameter(u"q", u"a\"b");        // taken, though it cannot be read back
    EXPECT_EQ(contentType.toString(), u"a/b;Charset=utf-8;q=\"a\"b\"");
    EXPECT_EQ(contentType.getParameterValue(u"Q"), u"a\"b");
    contentType.removeParameter(u"CHARSET");
    EXPECT_EQ(contentType.toString(), u"a/b;q=\"a\"b\"");

    const char* const absent = "No parameter exists for the given attribute";
    EXPECT_TRUE(throws<ContentTypeParameterNotFound>(absent, [&] { contentType.removeParameter(u"charset"); }));
    EXPECT_TRUE(throws<ContentTypeParameterNotFound>(absent, [&] { contentType.getParameterValue(u"charset"); }));
}

TEST(ContentType, RefusesParametersThatCannotStandInAMediaType) {
    ContentType contentType(u"a/b;x=1");
    const char* const name = "Invalid parameter attribute name";
    const char* const value = "Invalid parameter attribute value";
    for (const char16_t* attribute : {u"", u"char set", u"a=b", u"a\x1F", u"a\x7F", u"\u00E9"})
        EXPECT_TRUE(throws<InvalidContentTypeParameter>(name, [&] { contentType.addParameter(attribute, u""); }));
    for (const char16_t* text : {u"", u"\t", u"\x7F", u"\u00E9"})
        EXPECT_TRUE(throws<InvalidContentTypeParameter>(value, [&] { contentType.addParameter(u"x", text); }));
    EXPECT_EQ(contentType.toString(), u"a/b;x=1");
}

} // namespace
} // namespace opc::model
