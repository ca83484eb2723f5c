// SPDX-License-Identifier: Apache-2.0
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/PartName.hpp>

#include "support/Throws.hpp"

#include <boost/regex.hpp>
#include <gtest/gtest.h>

#include <functional>

namespace opc::model {
namespace {

using test::throws;

/// Calls the action with every text of up to `length` characters of the alphabet, behind the prefix.
void forEachText(const std::u16string& prefix, std::u16string_view alphabet, std::size_t length,
                 const std::function<void(const std::u16string&)>& action) {
    action(prefix);
    if (length == 0)
        return;
    for (const char16_t unit : alphabet)
        forEachText(prefix + unit, alphabet, length - 1, action);
}

bool isAccepted(const std::u16string& name) {
    try {
        const PartName accepted(name);
        return true;
    } catch (const InvalidPartName&) {
    } catch (const InvalidURI&) {
    }
    return false;
}

TEST(PartName, RefusesByTheFirstRuleThatIsBroken) {
    const char* const encodedSlash = "A segment shall not contain percent-encoded forward slash ('/'), or backward "
                                     "slash ('') characters. [M1.7]";
    const char* const encodedUnreserved = "A segment shall not contain percent-encoded unreserved characters. [M1.8]";
    const struct {
        const char16_t* name;
        const char* message;
    } refused[] = {
        {u"", "A part name shall not be empty [M1.1]"},
        {u"x:/a", "Absolute URI forbidden as a part name."},
        {u"x:/a/", "Absolute URI forbidden as a part name."},
        {u"a/b", "A part name shall start with a forward slash ('/') character [M1.4]"},
        {u"a/", "A part name shall start with a forward slash ('/') character [M1.4]"},
        {u"/a/", "A part name shall not have a forward slash as the last character [M1.5]"},
        {u"/a//", "A part name shall not have a forward slash as the last character [M1.5]"},
        {u"/a//b.", "A part name shall not have empty segments [M1.3]"},
        {u"//host/a", "A part name shall not have empty segments [M1.3]"},
        {u"/a./b", "A segment shall not end with a dot ('.') character [M1.9]"},
        {u"/a%41.", "A segment shall not end with a dot ('.') character [M1.9]"},
        {u"/../b", "A segment shall include at least one non-dot character. [M1.10]"},
        {u"/b/.", "A segment shall include at least one non-dot character. [M1.10]"},
        {u"/a%2Fb", encodedSlash},
        {u"/a%5cb%41", encodedSlash},
        {u"/%7E", encodedUnreserved},
        {u"/a%41b%2F", encodedUnreserved},
        {u"/x/%2d", encodedUnreserved},
    };
    for (const auto& row : refused)
        EXPECT_TRUE(throws<InvalidPartName>(row.message, [&] { PartName name(row.name); }));
    EXPECT_TRUE(throws<InvalidPartName>("A part name shall not be empty [M1.1]",
                                        [] { PartName name(static_cast<const char16_t*>(nullptr)); }));
    EXPECT_TRUE(throws<InvalidURI>("Could not successfully parse URI string.", [] { PartName name(u"/a b"); }));
}

TEST(PartName, AcceptsWhatNoRuleForbids) {
    for (const char16_t* name :
         {u"/a", u"/a.b/.c", u"/a%20b", u"/a%C3%A9", u"/%25", u"/a@b:c;d=1", u"/a?query#fragment"})
        EXPECT_EQ(PartName(name).toString(), name);
    EXPECT_EQ(PartName(u"a//b.", false).toString(), u"a//b."); // unchecked, whatever the flag
    EXPECT_EQ(PartName(u"a//b.", true).toString(), u"a//b.");
}

TEST(PartName, TheRootIsNoRelationshipsPartAndHasItsOwnOne) {
    const PartName root(u"/");
    EXPECT_FALSE(root.isRelationshipName());
    EXPECT_EQ(root.getRelationshipPartName(), u"/_rels/.rels");
    EXPECT_TRUE(
        throws<InvalidPartName>("Part name is not a relationship part name.", [&] { root.getSourcePartName(); }));
}

TEST(PartName, DerivesRelationshipsPartsAndTheirSources) {
    const struct {
        const char16_t* relationships;
        const char16_t* source;
    } table[] = {
        {u"/_rels/.rels", u"/"},
        {u"/_rels/a.rels", u"/a"},
        {u"/word/_rels/document.xml.rels", u"/word/document.xml"},
        {u"/x/_rels/a.rels.rels", u"/x/a"}, // cut at the first ".rels"
        {u"/_rels/a/b.rels", u"/_rels/b"},  // whatever segment stands last is dropped
        {u"/x/_rels/.rels", u"/x/"},
    };
    for (const auto& row : table) {
        const PartName name(row.relationships);
        EXPECT_TRUE(name.isRelationshipName());
        EXPECT_EQ(name.getSourcePartName(), row.source);
        EXPECT_EQ(detail::getSourcePartName(row.relationships), row.source);
        EXPECT_TRUE(throws<InvalidPartName>("Relationship part can't have an associated relationship part name",
                                            [&] { name.getRelationshipPartName(); }));
    }
    EXPECT_EQ(PartName(u"/word/document.xml").getRelationshipPartName(), u"/word/_rels/document.xml.rels");
    EXPECT_EQ(PartName(u"/a").getRelationshipPartName(), u"/_rels/a.rels");
    EXPECT_FALSE(PartName(u"/_RELS/a.RELS").isRelationshipName());
    EXPECT_TRUE(PartName(u"/_RELS/a.RELS") == PartName(u"/_rels/a.rels"));
}

TEST(PartName, ComparesAndOrdersWithASCIILettersFolded) {
    EXPECT_TRUE(PartName(u"/A") == PartName(u"/a"));
    EXPECT_TRUE(PartName(u"/A") < PartName(u"/b"));
    EXPECT_FALSE(PartName(u"/B") < std::u16string(u"/b"));
    EXPECT_TRUE(std::u16string(u"/A") != PartName(u"/b"));
    EXPECT_TRUE(std::u16string(u"/A") < PartName(u"/b"));
    EXPECT_EQ(PartName(u"/a.b/c.XML").getExtension(), u"XML");
    EXPECT_EQ(PartName(u"/a.b/c").getExtension(), u"");
}

TEST(PartName, RelationshipsNamesAreTheLanguageOfTheExpression) {
    // The rule is the expression; the check is not, for speed.
    const boost::wregex expression(LR"(^.*/_rels/.*\.rels$)");
    long checked = 0;
    const auto compare = [&](const std::u16string& text) {
        ASSERT_EQ(detail::isRelationshipsPartName(text), boost::regex_match(toWideString(text), expression))
            << detail::toUTF8String(text);
        ++checked;
    };
    // Out of pieces, so that short words meet long ones: every sequence of up to six pieces.
    const std::u16string pieces[] = {u"/_rels/", u"/_rels", u".rels", u"/", u"_rels", u"a", u"."};
    const std::function<void(const std::u16string&, int)> extend = [&](const std::u16string& text, int left) {
        compare(text);
        if (left != 0)
            for (const auto& piece : pieces)
                extend(text + piece, left - 1);
    };
    extend(u"", 5);
    EXPECT_GT(checked, 19000);
}

TEST(PartName, TheTextCheckAcceptsExactlyThePartNames) {
    long accepted = 0;
    const auto compare = [&](const std::u16string& text) {
        const bool isName = isAccepted(text) && !PartName::isPackageRootUri(URI(text));
        ASSERT_EQ(detail::isPartName(text), isName) << detail::toUTF8String(text, false);
        accepted += isName ? 1 : 0;
    };
    forEachText(u"", u"/a.%4?# :\u00E9", 6, compare);
    forEachText(u"/", u"%257eF.", 6, compare);    // escapes, in full
    for (char16_t unit = 0; unit < 0x180; ++unit) // every character in path, query and fragment
        for (const char16_t* before : {u"/a", u"/a?", u"/a#", u"/a%4", u"/a%", u""})
            compare(std::u16string(before) + unit + u"b");
    EXPECT_GT(accepted, 10000);
}

} // namespace
} // namespace opc::model
