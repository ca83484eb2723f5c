// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ItemNames.hpp"

#include <gtest/gtest.h>

namespace opc::storage {

TEST(ItemNames, AnItemNameGivesAPartNameOrNone) {
    const struct {
        std::string item;
        const char16_t* part; ///< null: no part
        const char* why;
    } cases[] = {
        {"word/document.xml", u"/word/document.xml", "a slash in front"},
        {"_rels/.rels", u"/_rels/.rels", "a segment may begin with a dot"},
        {"-._~!$&'()*+,;=:@", u"/-._~!$&'()*+,;=:@", "what a segment holds as it is"},
        {"a b#c?d", u"/a%20b%23c%3Fd", "delimiters and spaces are escaped"},
        {"[trash]/0000.dat", u"/%5Btrash%5D/0000.dat", "square brackets"},
        {"<\">^`{|}", u"/%3C%22%3E%5E%60%7B%7C%7D", "all else that URIs refuse"},
        {"caf\xC3\xA9/\xE2\x82\xAC", u"/caf%C3%A9/%E2%82%AC", "non-ASCII as UTF-8"},
        {"\x01\t\x7F", u"/%01%09%7F", "controls"},
        {"a%20b%c3%A9", u"/a%20b%c3%A9", "escapes stay, in their case"},
        {"100%", u"/100%25", "a percent sign at the end"},
        {"%4", u"/%254", "half an escape"},
        {"%G1%1G", u"/%25G1%251G", "no hexadecimal digits"},
        {"%%20", u"/%25%20", "a percent sign before an escape"},
        {"", nullptr, "no name"},
        {"word/", nullptr, "a folder entry"},
        {"/", nullptr, "a folder without a name"},
        {"/a.xml", nullptr, "an empty segment in front"},
        {"a//b.xml", nullptr, "an empty segment"},
        {"xl\\workbook.xml", nullptr, "a backslash"},
        {"a%5Cb", nullptr, "an escaped backslash"},
        {"a%2fb", nullptr, "an escaped slash"},
        {"%41.xml", nullptr, "an escaped letter"},
        {"docs/trailing.", nullptr, "a dot at the end of a segment"},
        {"../a.xml", nullptr, "a segment of dots"},
        {"a/./b", nullptr, "a segment of one dot"},
    };
    for (const auto& [item, part, why] : cases) {
        const auto result = toPartName(item);
        EXPECT_EQ(result.has_value(), part != nullptr) << why;
        if (result && part) {
            EXPECT_EQ(*result, part) << why;
        }
    }
}

TEST(ItemNames, APartNameGivesAnItemNameWhenItWouldComeBack) {
    const struct {
        const char16_t* part;
        const char* item; ///< null: refused
        const char* why;
    } cases[] = {
        {u"/word/document.xml", "word/document.xml", "without the slash"},
        {u"/a%20b%c3%A9", "a%20b%c3%A9", "escapes stay"},
        {u"/%5BContent_Types%5D.xml", "%5BContent_Types%5D.xml", "not the content types stream"},
        {u"/a?b", nullptr, "with a query"},
        {u"/a#b", nullptr, "with a fragment"},
        {u"/", nullptr, "the package root"},
        {u"a.xml", nullptr, "no part name"},
        {u"/a b", nullptr, "no part name"},
        {u"/a\u00E9", nullptr, "no part name"},
        {u"", nullptr, "nothing"},
    };
    for (const auto& [part, item, why] : cases) {
        const auto result = toItemName(part);
        EXPECT_EQ(result.has_value(), item != nullptr) << why;
        if (result && item) {
            EXPECT_EQ(*result, item) << why;
        }
    }
}

TEST(ItemNames, TheContentTypesStreamIsKnownInAnyCase) {
    for (const char* name : {"[Content_Types].xml", "[content_types].xml", "[CONTENT_TYPES].XML"})
        EXPECT_TRUE(isContentTypesItem(name)) << name;
    for (const char* name : {"a/[Content_Types].xml", "/[Content_Types].xml", "[Content_Types].xml/",
                             "Content_Types.xml", "%5BContent_Types%5D.xml", "[Content_Types].xm\xCC", ""})
        EXPECT_FALSE(isContentTypesItem(name)) << name;
}

} // namespace opc::storage
