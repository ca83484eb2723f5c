// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/URI.hpp>

#include "support/Throws.hpp"

#include <gtest/gtest.h>

namespace opc::model {
namespace {

using test::throws;

TEST(URI, KeepsItsTextAndAcceptsTheEmptyOne) {
    EXPECT_EQ(URI(u"").toString(), u"");
    EXPECT_EQ(URI(static_cast<const char16_t*>(nullptr)).toString(), u"");
    EXPECT_EQ(URI(u"/A/%7e/../b").toString(), u"/A/%7e/../b");
}

TEST(URI, RefusesWhatIsNoURIWithOneMessage) {
    // Strict RFC 3986: what an IRI or a LEIRI allows beyond it is refused too.
    const std::u16string refused[] = {u"/a/\u00E9",
                                      u"/a b",
                                      u"/a{b}",
                                      u"/a\\b",
                                      u"/%zz",
                                      u"a#b#c",
                                      u"/a[1]",
                                      u"http://[::1",
                                      std::u16string(u"/a\0b", 4),
                                      std::u16string(1, u'\xD800'),
                                      u"1:a"};
    for (const auto& text : refused)
        EXPECT_TRUE(throws<InvalidURI>("Could not successfully parse URI string.", [&] { URI uri(text); }))
            << detail::toUTF8String(text, false);
}

TEST(URI, GivesItsComponentsAsWritten) {
    const URI uri(u"Http://me@host:80/a%20b/c?q=%41#f%42");
    EXPECT_TRUE(uri.isAbsolute() && uri.hasScheme() && uri.hasAuthority() && uri.hasAbsolutePath() && uri.hasQuery() &&
                uri.hasFragment());
    EXPECT_FALSE(uri.isOpaque());
    EXPECT_EQ(uri.getScheme(), u"Http");
    EXPECT_EQ(uri.getSchemeSpecificPart(), u"//me@host:80/a%20b/c?q=%41");
    EXPECT_EQ(uri.getAuthority(), u"me@host:80");
    EXPECT_EQ(uri.getPath(), u"/a%20b/c");
    EXPECT_EQ(uri.getQuery(), u"q=%41");
    EXPECT_EQ(uri.getFragment(), u"f%42");
}

TEST(URI, OfAnOpaqueURIOnlyFragmentAndSchemeSpecificPartAreGiven) {
    const URI uri(u"mailto:a@b?subject=c#d");
    EXPECT_TRUE(uri.isOpaque());
    EXPECT_FALSE(uri.hasAuthority() || uri.hasAbsolutePath() || uri.hasQuery());
    EXPECT_EQ(uri.getAuthority() + uri.getPath() + uri.getQuery(), u"");
    EXPECT_EQ(uri.getSchemeSpecificPart(), u"a@b?subject=c");
    EXPECT_TRUE(uri.hasFragment());
    EXPECT_EQ(uri.getFragment(), u"d");
}

TEST(URI, ComparesItsTextWithASCIILettersFolded) {
    EXPECT_TRUE(URI(u"/A.xml") == URI(u"/a.XML"));
    EXPECT_TRUE(URI(u"/a/%7e") == URI(u"/A/%7E"));
    EXPECT_TRUE(URI(u"/a/~") != URI(u"/a/%7E"));
    EXPECT_TRUE(URI(u"/a.xml") < std::u16string(u"/B.xml"));
    EXPECT_TRUE(std::u16string(u"/a.xml") < URI(u"/B.xml"));
    EXPECT_FALSE(URI(u"/b") < std::u16string(u"/B"));
    EXPECT_TRUE(std::u16string(u"/B") == URI(u"/b"));
}

TEST(URI, EncodesBytesOutsideTheAllowedSet) {
    EXPECT_EQ(URI::encodeComponent(u"a b/c", ""), u"a%20b%2Fc");
    EXPECT_EQ(URI::encodeComponent(u"a b/c", "/"), u"a%20b/c");
    EXPECT_EQ(URI::encodeIRI(u"/a b?x#y"), u"/a%20b?x#y");
    EXPECT_EQ(URI::encodeIRI(u"%20"), u"%2520");
    EXPECT_EQ(URI::percentEncode(u"\u00E9\U0001F600a", ""), u"%C3%A9%F0%9F%98%80%61");
    EXPECT_EQ(URI::percentEncode(std::u16string(1, u'\0'), "a"), u"%00");
    EXPECT_THROW(URI::encodeIRI(std::u16string(1, u'\xDC00')), opc::Exception);
}

TEST(URI, ResolvesHierarchicalReferences) {
    EXPECT_EQ(resolve(URI(u"/a/b.xml"), URI(u"c.xml")).toString(), u"/a/c.xml");
    EXPECT_EQ(resolve(URI(u"/"), URI(u"word/document.xml#x")).toString(), u"/word/document.xml#x");
    EXPECT_EQ(resolve(URI(u"/a/b.xml"), URI(u"http://h/x")).toString(), u"http://h/x");
    EXPECT_TRUE(
        throws<UnsupportedResolve>("URIs must be hierarchical URIs.", [] { resolve(URI(u"/a"), URI(u"mailto:a")); }));
    EXPECT_TRUE(
        throws<UnsupportedResolve>("URIs must be hierarchical URIs.", [] { resolve(URI(u"a:b"), URI(u"/a")); }));
}

TEST(URI, RelativizesOnlyPairsThatQualify) {
    EXPECT_EQ(relativize(URI(u"/"), URI(u"/word/document.xml")).toString(), u"word/document.xml");
    EXPECT_EQ(relativize(URI(u"/a/B.xml"), URI(u"/a/b.xml?q#f")).toString(), u"b.xml?q#f");
    const char* relative = "URIs must be relative URIs, where the source and target URI have absolute paths.";
    const struct {
        const char16_t* source;
        const char16_t* target;
        const char* message;
    } refused[] = {
        {u"/a/b.xml", u"/a/b.xml", "URI's paths must be different."},
        {u"/a/b.xml", u"/a/b.xml?q", "URI's paths must be different."},
        {u"http://h/a", u"/b", relative},
        {u"/b", u"http://h/a", relative},
        {u"/b", u"a/b", relative},
        {u"a/b", u"/b", relative},
        {u"/b", u"mailto:a", "URIs must be hierarchical URIs."},
        {u"mailto:a", u"a/b", "URIs must be hierarchical URIs."},
    };
    for (const auto& row : refused)
        EXPECT_TRUE(throws<UnsupportedRelativize>(row.message, [&] { relativize(URI(row.source), URI(row.target)); }));
}

} // namespace
} // namespace opc::model
