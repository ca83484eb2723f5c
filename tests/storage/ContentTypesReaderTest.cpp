// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ContentTypesReader.hpp"

#include "storage/Zips.hpp"
#include "support/Table.hpp"

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

TEST(ContentTypesReader, AnOverrideWinsThenTheDefaultOfTheExtension) {
    const auto types = parse(contentTypes("<Default Extension='xml' ContentType='d/1'/>"
                                          "<Default Extension='XML' ContentType='d/2'/>"
                                          "<Default Extension='' ContentType='d/none'/>"
                                          "<Default Extension='.js' ContentType='d/js'/>"
                                          "<Default Extension='empty' ContentType=''/>"
                                          "<Override PartName='/a.xml' ContentType='o/1'/>"
                                          "<Override PartName='/A.xml' ContentType='o/2'/>"
                                          "<Override ContentType='o/3'/>"));
    ASSERT_TRUE(types);
    const struct {
        const char16_t* part;
        const char16_t* type;
        const char* why;
    } cases[] = {
        {u"/a.xml", u"o/1", "the first of two Overrides that name one part"},
        {u"/A.XML", u"o/1", "part names compare without regard to case"},
        {u"/b/c.xml", u"d/1", "the first of two Defaults for one extension"},
        {u"/b/c.Xml", u"d/1", "extensions compare without regard to case"},
        {u"/b/a.xml", u"d/1", "an Override names the whole part name"},
        {u"/a.b/c", u"d/none", "no extension in the last segment"},
        {u"/main.js", u"none", "a leading dot is no part of an extension"},
        {u"/x.empty", u"", "an entry without a type is an entry"},
        {u"/a.xmlx", u"none", "no entry"},
    };
    for (const auto& [part, type, why] : cases) {
        const std::u16string* found = types->find(part);
        EXPECT_EQ(found ? *found : u"none", type) << why;
    }
}

TEST(ContentTypesReader, TheStreamIsReadWheneverItIsXmlWithoutDoctype) {
    const std::string good = "<Types xmlns='http://schemas.openxmlformats.org/package/2006/content-types'>"
                             "<Default Extension='a' ContentType='t/t'/></Types>";
    auto rows = readTable("storage/content-types.tsv");
    rows.push_back({"entry", utf16("<?xml version='1.0' encoding='UTF-16'?>" + good, false), "UTF-16, little-endian"});
    rows.push_back({"entry", utf16(good, true), "UTF-16, big-endian"});
    for (const auto& row : rows) {
        const auto types = parse(boost::replace_all_copy(unescaped(row[1]), "{good}", good));
        EXPECT_EQ(!types ? "unreadable" : types->find(u"/x.a") ? "entry" : "no entry", row[0]) << row[2];
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
