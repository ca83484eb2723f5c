// SPDX-License-Identifier: Apache-2.0
#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>

#include "support/Table.hpp"

#include <gtest/gtest.h>

#include <ctime>
#include <tuple>

namespace opc::detail {
namespace {

using namespace std::literals;

std::string sourceOf(const std::u16string& name) {
    return isRelationshipsPartName(name) ? "source " + toUTF8String(getSourcePartName(name)) : "no source";
}

TEST(PartNames, FollowTheRulesAndLeadToTheSourceOfRelationships) {
    for (const auto& row : test::readTable("core/part-names.tsv")) {
        const std::u16string name = toString(row[0]);
        const bool isOfSource = row[1].find("source") != std::string::npos;
        EXPECT_EQ(isOfSource         ? sourceOf(name)
                  : isPartName(name) ? "valid"
                                     : "invalid",
                  row[1])
            << row[0] << ": " << row[2];
    }
    for (const std::u16string_view name : {u"/a\x7F"sv, u"/a\0b"sv, u"/a\0"sv})
        EXPECT_FALSE(isPartName(name)) << "a control character";
}

TEST(PartNames, AFaultHasItsRuleAndPosition) {
    const std::tuple<std::u16string_view, PartNameRule, std::size_t> rows[] = {
        {u"/a//b.", PartNameRule::NoEmptySegment, 3},       {u"/a/b.", PartNameRule::NoDotAtEnd, 4},
        {u"/%20/..", PartNameRule::NoSegmentOfDots, 6},     {u"/a%20%5c/.", PartNameRule::NoEscapedSlash, 5},
        {u"/%2/%41", PartNameRule::NoEscapedUnreserved, 4}, {u"/a./", PartNameRule::NoSlashAtEnd, 3},
    };
    for (const auto& [name, rule, position] : rows) {
        const auto fault = findPartNameFault(name);
        EXPECT_TRUE(fault && fault->rule == rule && fault->position == position) << toUTF8String(name);
    }
}

TEST(PartNames, LongNamesTakeLinearTime) {
    const std::clock_t start = std::clock();
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
    EXPECT_LT(std::clock() - start, 30 * CLOCKS_PER_SEC);
}

} // namespace
} // namespace opc::detail
