// SPDX-License-Identifier: Apache-2.0
#include "storage/items/ContentTypesReader.hpp"

#include "storage/Zips.hpp"

namespace opc::test {
namespace {

std::optional<ContentTypes> parse(const std::string& text) {
    const auto content = std::make_shared<Content>();
    append(*content, text);
    return readContentTypes(*readContent(content), text.size());
}

std::string utf16(const std::string& text, bool bigEndian) {
    std::string bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (const char c : text)
        bytes += bigEndian ? std::string{'\0', c} : std::string{c, '\0'};
    return bytes;
}

TEST(ContentTypesReader, FindsTheTypeOfAPartInWhateverIsXmlWithoutDoctype) {
    const std::string good = "<Types xmlns='http://schemas.openxmlformats.org/package/2006/content-types'>"
                             "<Default Extension='a' ContentType='t/t'/></Types>";
    auto rows = readTable("storage/content-types.tsv");
    rows.push_back({"t/t", "/x.a", utf16("<?xml version='1.0' encoding='UTF-16'?>" + good, false), "little-endian"});
    rows.push_back({"t/t", "/x.a", utf16(good, true), "big-endian"});
    for (const auto& row : rows) {
        const auto types = parse(boost::replace_all_copy(unescaped(row.at(2)), "{good}", good));
        const std::u16string* found = types ? types->find(toString(row[1])) : nullptr;
        EXPECT_EQ(!types ? "unreadable" : found ? detail::toUTF8String(*found) : "none", row[0]) << row.at(3);
    }
}

TEST(ContentTypesReader, DeepAndLongStreamsAreRead) {
    std::string start;
    std::string end;
    std::string many;
    for (int i = 0; i < 100000; ++i) {
        start += "<a>";
        end += "</a>";
        many += "<Override PartName='/p" + std::to_string(i) + "' ContentType='t/" + std::to_string(i) + "'/>";
    }
    EXPECT_FALSE(parse(contentTypes(start))) << "never closed";
    const auto types = parse(contentTypes(start + "<Default Extension='a' ContentType='t/t'/>" + end));
    EXPECT_TRUE(types && types->find(u"/x.a"));
    EXPECT_EQ(*parse(contentTypes(many))->find(u"/P99999"), u"t/99999");
}

} // namespace
} // namespace opc::test
