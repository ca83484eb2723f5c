// SPDX-License-Identifier: Apache-2.0
#include <opc/errors/Errors.hpp>
#include <opc/model/relationships/Relationship.hpp>
#include <opc/model/relationships/RelationshipSelector.hpp>

#include "support/Throws.hpp"

#include <gtest/gtest.h>

namespace opc::model {
namespace {

using test::throws;

TEST(Relationship, ResolvesAnInternalTargetOnceForAll) {
    const Relationship relationship(u"id", u"type", URI(u"/a/b.xml"), URI(u"../x.xml?q#f"));
    const Relationship copy = relationship;
    EXPECT_TRUE(relationship == copy);
    EXPECT_EQ(relationship.getTargetURI().toString(), u"/x.xml?q#f");
    EXPECT_EQ(relationship.getTargetURI().toString(), u"/x.xml?q#f");
    EXPECT_EQ(relationship.getTarget(), u"../x.xml?q#f");
    EXPECT_TRUE(relationship != copy); // the cache takes part
    EXPECT_EQ(Relationship(u"id", u"type", URI(u"/"), URI(u"word/a.xml")).getTargetURI().toString(), u"/word/a.xml");
}

TEST(Relationship, ConvertsAnExternalTargetToAURI) {
    const struct {
        const char16_t* target;
        const char16_t* uri;
    } table[] = {
        {u"a\\b c", u"a/b%20c"},
        {u"file:///C:\\dir\\x", u"file:///C:/dir/x"},
        {u"http://host/\u00FC?\u00FC#{}", u"http://host/%C3%BC?%C3%BC#%7B%7D"},
        {u"mailto:ida@example.org?subject=Gr\u00FC\u00DFe", u"mailto:ida@example.org?subject=Gr%C3%BC%C3%9Fe"},
        {u"", u""},
    };
    for (const auto& row : table) {
        const Relationship relationship(u"id", u"type", URI(u"/"), std::u16string(row.target));
        EXPECT_EQ(relationship.getTargetURI().toString(), row.uri);
        EXPECT_EQ(relationship.getTargetURI().toString(), row.uri);
        EXPECT_EQ(relationship.getTarget(), row.target);
        EXPECT_EQ(relationship.getTargetMode(), TargetMode::External);
    }
    for (const char16_t* target : {u"http://[::1", u"a#b#c", u"%zz", u"\xD800"})
        EXPECT_TRUE(throws<InvalidURI>(
            "Could not successfully convert external target to a URI. Use getTarget() instead.",
            [&] { Relationship(u"id", u"type", URI(u"/"), std::u16string(target)).getTargetURI(); }));
}

TEST(Relationship, EqualityTakesEveryFieldAndOrderTheIDAlone) {
    const Relationship one(u"B", u"type", URI(u"/a"), URI(u"x"));
    EXPECT_TRUE(one == Relationship(u"B", u"type", URI(u"/A"), URI(u"x"))); // sources compare as URIs
    EXPECT_TRUE(one != Relationship(u"b", u"type", URI(u"/a"), URI(u"x")));
    EXPECT_TRUE(one != Relationship(u"B", u"Type", URI(u"/a"), URI(u"x")));
    EXPECT_TRUE(one != Relationship(u"B", u"type", URI(u"/b"), URI(u"x")));
    EXPECT_TRUE(one != Relationship(u"B", u"type", URI(u"/a"), URI(u"X"))); // targets compare as texts too
    EXPECT_TRUE(one != Relationship(u"B", u"type", URI(u"/a"), std::u16string(u"x")));
    const Relationship other(u"B", u"other", URI(u"/a"), URI(u"y"));
    EXPECT_FALSE(one == other || one < other || other < one);
    EXPECT_TRUE(one < Relationship(u"B1", u"type", URI(u"/a"), URI(u"x")));
    EXPECT_TRUE(one < Relationship(u"a", u"type", URI(u"/a"), URI(u"x"))); // by code units
}

TEST(RelationshipSelector, ChecksTheSourceBeforeTheCriteria) {
    EXPECT_TRUE(throws<InvalidURI>(
        "Input sourceURI is incorrect:A part name shall start with a forward slash ('/') character [M1.4]",
        [] { RelationshipSelector(URI(u"a"), RelationshipSelectorType::ById, u""); }));
    EXPECT_TRUE(throws<opc::Exception>("SelectionCriteria cannot be empty.",
                                       [] { RelationshipSelector(URI(u"/"), RelationshipSelectorType::ByType, u""); }));
    const RelationshipSelector selector(URI(u"/"), RelationshipSelectorType::ById, u"rId1");
    EXPECT_TRUE(selector == RelationshipSelector(URI(u"/"), RelationshipSelectorType::ById, u"rId1"));
    EXPECT_TRUE(selector != RelationshipSelector(URI(u"/a"), RelationshipSelectorType::ById, u"rId1"));
    EXPECT_TRUE(selector != RelationshipSelector(URI(u"/"), RelationshipSelectorType::ByType, u"rId1"));
    EXPECT_TRUE(selector != RelationshipSelector(URI(u"/"), RelationshipSelectorType::ById, u"rid1"));
}

} // namespace
} // namespace opc::model
