// SPDX-License-Identifier: Apache-2.0
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>

#include <gtest/gtest.h>

#include <chrono>

namespace opc::detail {
namespace {

struct Row {
    const char16_t* name;
    const char* why;
};

TEST(PartNames, AcceptedAreURIsThatFollowThePartNameRules) {
    const Row accepted[] = {
        {u"/a", "the shortest"},
        {u"/word/document.xml", "an ordinary one"},
        {u"/_rels/.rels", "a relationships part"},
        {u"/a.b/.c/..d", "dots, but not at the end of a segment"},
        {u"/A-z_0~!$&'()*+,;=:@", "every character of a segment"},
        {u"/a%20b%C3%a9%25%5B", "escapes of other characters"},
        {u"/x:y", "a colon behind the slash is no scheme"},
        {u"/a?b#c", "query and fragment are not refused"},
        {u"/a?b/c?d:@#e/f?", "with slashes and question marks"},
        {u"/a?", "an empty query"},
        {u"/a#", "an empty fragment"},
    };
    for (const auto& row : accepted)
        EXPECT_TRUE(isPartName(row.name)) << toUTF8String(row.name) << ": " << row.why;
}

TEST(PartNames, RefusedIsWhatBreaksARule) {
    const Row refused[] = {
        {u"", "M1.1"},
        {u"/", "the package root"},
        {u"/?a", "the root with a query"},
        {u"/#a", "the root with a fragment"},
        {u"//h/", "the root of an authority"},
        {u"x:/", "the root with a scheme"},
        {u"x:/a", "a scheme"},
        {u"x:a/b", "an opaque URI"},
        {u"x:", "an opaque URI"},
        {u"a", "M1.4"},
        {u"?/a", "M1.4: no path at all"},
        {u"//h", "M1.4: no path at all"},
        {u"/a/", "M1.5"},
        {u"/a?b/", "M1.5, whatever stands in front"},
        {u"/a#/", "M1.5, whatever stands in front"},
        {u"/a//b", "M1.3"},
        {u"//a/b", "M1.3: the authority is no segment"},
        {u"/a?b//c", "M1.3 in a query"},
        {u"/a./b", "M1.9"},
        {u"/a.", "M1.9"},
        {u"/a?b./c", "M1.9 in a query"},
        {u"/./a", "M1.10"},
        {u"/a/...", "M1.10"},
        {u"/a%2Fb", "M1.7"},
        {u"/a%2fb", "M1.7"},
        {u"/a%5Cb", "M1.7"},
        {u"/a#%5c", "M1.7 in a fragment"},
        {u"/%41", "M1.8: A"},
        {u"/%7a", "M1.8: z"},
        {u"/%30", "M1.8: 0"},
        {u"/%2D", "M1.8: -"},
        {u"/%2e", "M1.8: ."},
        {u"/%5F", "M1.8: _"},
        {u"/%7e", "M1.8: ~"},
        {u"/%2541%41", "M1.8 behind an escaped percent sign"},
        {u"/%", "a broken escape"},
        {u"/%2", "a broken escape"},
        {u"/%4g", "a broken escape"},
        {u"/a?%", "a broken escape in a query"},
        {u"/a#%x0", "a broken escape in a fragment"},
        {u"/a#b#c", "two fragments"},
        {u"/a[1]", "brackets"},
        {u"/a?[", "brackets in a query"},
        {u"/a b", "a space"},
        {u"/a\\b", "a backslash"},
        {u"/\xE9", "not ASCII"},
        {u"/\x141", "not ASCII, though its low byte is"},
        {u"/a\x7F", "a control character"},
    };
    for (const auto& row : refused)
        EXPECT_FALSE(isPartName(row.name)) << toUTF8String(row.name) << ": " << row.why;
    EXPECT_FALSE(isPartName(std::u16string_view(u"/a\0b", 4))) << "an embedded NUL";
    EXPECT_FALSE(isPartName(std::u16string_view(u"/a\0", 3))) << "a NUL at the end";
}

TEST(PartNames, RelationshipsPartsAreToldByTheirPath) {
    const struct {
        const char16_t* name;
        const char16_t* source; // null: no relationships part
        const char* why;
    } table[] = {
        {u"/_rels/.rels", u"/", "of the package"},
        {u"/_rels/a.rels", u"/a", "of a part in the root"},
        {u"/word/_rels/document.xml.rels", u"/word/document.xml", "of a part in a folder"},
        {u"/a/_rels/b.rels?c#d", u"/a/b", "a query and a fragment do not belong to the path"},
        {u"/_rels/.rels?c", u"/", "nor here"},
        {u"/_rels/a/b.rels", u"/_rels/b", "the folder need not be the last one"},
        {u"/a/_rels/b.rels.rels", u"/a/b", "the first extension ends the name"},
        {u"/a/_rels/_rels/.rels", u"/a/_rels/", "a folder in a folder"},
        {u"/_rels/", nullptr, "no extension"},
        {u"/_rels.rels", nullptr, "no folder"},
        {u"/_rels/rels", nullptr, "no dot"},
        {u"_rels/a.rels", nullptr, "no slash in front"},
        {u"/_RELS/a.rels", nullptr, "the case of the folder counts"},
        {u"/_rels/a.RELS", nullptr, "the case of the extension counts"},
        {u"/a.rels/_rels/b", nullptr, "the extension in front of the folder"},
        {u"/_rels/a?.rels", nullptr, "the extension in a query"},
        {u"/a#/_rels/b.rels", nullptr, "all of it in a fragment"},
        {u"", nullptr, "nothing"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(isRelationshipsPartName(row.name), row.source != nullptr)
            << toUTF8String(row.name) << ": " << row.why;
        if (row.source != nullptr) {
            EXPECT_EQ(getSourcePartName(row.name), row.source) << toUTF8String(row.name);
        }
    }
}

TEST(PartNames, LongNamesTakeLinearTime) {
    const auto start = std::chrono::steady_clock::now();
    std::u16string folders;
    std::u16string escapes = u"/";
    for (int i = 0; i < 1'000'000; ++i) {
        folders += u"/_rels";
        escapes += u"%25";
    }
    EXPECT_TRUE(isPartName(folders));
    EXPECT_TRUE(isPartName(escapes));
    EXPECT_FALSE(isRelationshipsPartName(folders));
    EXPECT_TRUE(isRelationshipsPartName(folders + u".rels" + folders + u"/.rels"));
    EXPECT_FALSE(isPartName(u"//[" + folders + u"]/"));
    // Far above what linear work takes, under sanitizers too, and far below what quadratic work takes.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

} // namespace
} // namespace opc::detail
