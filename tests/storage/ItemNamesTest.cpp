// SPDX-License-Identifier: Apache-2.0
#include "storage/items/ItemNames.hpp"

#include "support/Table.hpp"

#include <opc/core/Strings.hpp>

#include <gtest/gtest.h>

namespace opc::storage {

TEST(ItemNames, GivePartNamesThatGiveItemNames) {
    for (const auto& row : test::readTable("storage/item-names.tsv")) {
        const std::string item = test::unescaped(row[0]);
        const auto part = toPartName(item);
        EXPECT_EQ(isContentTypesItem(item) ? "content types"
                  : part                   ? detail::toUTF8String(*part)
                                           : "none",
                  row[1])
            << row[0] << ": " << row[2];
        EXPECT_TRUE(!part || toItemName(*part) == detail::toUTF8String(part->substr(1))) << "escapes stay";
    }
    for (const char16_t* name : {u"/a?b", u"/a#b", u"/", u"a.xml", u"/a b", u"/a\u00E9", u""})
        EXPECT_FALSE(toItemName(name)) << detail::toUTF8String(name) << ": no item would lead to it";
}

} // namespace opc::storage
