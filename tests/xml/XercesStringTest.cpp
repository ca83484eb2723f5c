// SPDX-License-Identifier: Apache-2.0
#include <opc/xml/XercesGuard.hpp>
#include <opc/xml/XercesString.hpp>

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

namespace opc::model {
namespace {

class XercesStringTest : public ::testing::Test {
protected:
    XercesGuard guard_;
    const char16_t* null_ = nullptr;
};

TEST_F(XercesStringTest, owns_a_full_terminated_copy) {
    std::u16string source = u"Relationship\U0001F600";
    const XercesString string(source);
    source.assign(source.size(), u'x');
    EXPECT_EQ(string.toString(), u"Relationship\U0001F600");
    EXPECT_EQ(string.toXMLCh()[14], u'\0');
    EXPECT_EQ(static_cast<char16_t*>(string), string.toXMLCh());
    EXPECT_EQ(std::u16string(string.toXMLCh()), XercesString(u"Relationship\U0001F600").toString());

    const XercesString cut(std::u16string(u"a\0b", 3));
    EXPECT_EQ(cut.toXMLCh()[2], u'b') << "all units are copied";
    EXPECT_EQ(cut.toString(), u"a") << "but a NUL ends the text";
}

TEST_F(XercesStringTest, compares_null_as_empty_whatever_the_form_of_the_other_side) {
    const XercesString name(u"Id");
    const XercesString same(u"Id");
    const XercesString longer(u"Ids");
    const XercesString empty(u"");
    const XercesString nothing(null_);
    char16_t text[] = u"Id";
    char16_t* pointer = text;

    EXPECT_TRUE(name == same);
    EXPECT_TRUE(name == u"Id");
    EXPECT_TRUE(u"Id" == name);
    EXPECT_TRUE(name == pointer) << "compares texts, not addresses";
    EXPECT_TRUE(pointer == name);
    EXPECT_FALSE(name != pointer);
    EXPECT_FALSE(pointer != name);
    EXPECT_FALSE(name != same);
    EXPECT_TRUE(name != longer);
    EXPECT_TRUE(name != u"id");
    EXPECT_TRUE(u"id" != name);
    EXPECT_TRUE(nothing == empty);
    EXPECT_TRUE(nothing == XercesString(null_));
    EXPECT_TRUE(nothing == null_);
    EXPECT_TRUE(empty == null_);
    EXPECT_TRUE(name != null_);
}

TEST_F(XercesStringTest, of_a_null_pointer_is_null_and_has_no_string) {
    const XercesString nothing(null_);
    EXPECT_EQ(nothing.toXMLCh(), null_);
    EXPECT_THROW(nothing.toString(), std::logic_error);
}

TEST_F(XercesStringTest, copies_are_independent_and_moves_take_the_buffer) {
    XercesString first(u"a");
    XercesString copy(first);
    EXPECT_NE(copy.toXMLCh(), first.toXMLCh());
    EXPECT_TRUE(copy == first);

    const char16_t* buffer = first.toXMLCh();
    const XercesString moved(std::move(first));
    EXPECT_EQ(moved.toXMLCh(), buffer);

    copy = XercesString(u"b");
    XercesString& alias = copy;
    copy = alias;
    EXPECT_TRUE(copy == u"b");
    const std::u16string text = copy;
    EXPECT_EQ(text, u"b");
}

} // namespace
} // namespace opc::model
