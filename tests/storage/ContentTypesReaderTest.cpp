// SPDX-License-Identifier: Apache-2.0
#include "storage/zip/ContentTypesReader.hpp"

#include "support/PhysicalAccess.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace opc::storage {

namespace {

/// Delivers a text in pieces of a few bytes, and fails at the end when it is told to.
class TextReader final : public ItemReader {
public:
    explicit TextReader(std::string text, bool failsAtEnd = false) : text_(std::move(text)), failsAtEnd_(failsAtEnd) {}
    std::size_t read(unsigned char* buffer, std::size_t size) override {
        if (position_ == text_.size() && failsAtEnd_)
            throw Exception("damaged");
        const auto count = text_.copy(reinterpret_cast<char*>(buffer), std::min<std::size_t>(size, 7), position_);
        position_ += count;
        return count;
    }

private:
    std::string text_;
    bool failsAtEnd_;
    std::size_t position_ = 0;
};

std::optional<ContentTypes> parse(const std::string& text, bool failsAtEnd = false) {
    TextReader reader(text, failsAtEnd);
    return readContentTypes(reader, text.size());
}

std::string utf16(const std::string& text, bool bigEndian) {
    std::string bytes = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (const char c : text)
        bytes += bigEndian ? std::string{'\0', c} : std::string{c, '\0'};
    return bytes;
}

const std::string NAMESPACE = "http://schemas.openxmlformats.org/package/2006/content-types";

} // namespace

TEST(ContentTypesReader, AnOverrideWinsThenTheDefaultOfTheExtension) {
    const auto types = parse(test::contentTypes("<Default Extension='xml' ContentType='d/1'/>"
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
        const char16_t* type; ///< null: none
        const char* why;
    } cases[] = {
        {u"/a.xml", u"o/1", "the first of two Overrides that name one part"},
        {u"/A.XML", u"o/1", "part names compare without regard to case"},
        {u"/b/c.xml", u"d/1", "the first of two Defaults for one extension"},
        {u"/b/c.Xml", u"d/1", "extensions compare without regard to case"},
        {u"/b/a.xml", u"d/1", "an Override names the whole part name"},
        {u"/a.b/c", u"d/none", "no extension in the last segment"},
        {u"/main.js", nullptr, "a leading dot is no part of an extension"},
        {u"/x.empty", u"", "an entry without a type is an entry"},
        {u"/a.xmlx", nullptr, "no entry"},
    };
    for (const auto& [part, type, why] : cases) {
        const auto found = types->find(part);
        EXPECT_EQ(found != nullptr, type != nullptr) << why;
        if (found && type) {
            EXPECT_EQ(*found, type) << why;
        }
    }
}

TEST(ContentTypesReader, TheStreamIsReadWheneverItIsXmlWithoutDoctype) {
    const std::string good = "<Types xmlns='" + NAMESPACE + "'><Default Extension='a' ContentType='t/t'/></Types>";
    const struct {
        std::string text;
        bool readable;
        bool entry;
        const char* why;
    } cases[] = {
        {good, true, true, "no declaration"},
        {"\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8'?>" + good, true, true, "UTF-8 with a byte order mark"},
        {utf16("<?xml version='1.0' encoding='UTF-16'?>" + good, false), true, true, "UTF-16, little-endian"},
        {utf16(good, true), true, true, "UTF-16, big-endian"},
        {"<p:Types xmlns:p='" + NAMESPACE + "'><p:Default Extension='a' ContentType='t/t'/></p:Types>", true, true,
         "a prefix"},
        {"<Types><Default Extension='a' ContentType='t/t'/></Types>", true, false, "no namespace"},
        {"<Types xmlns='urn:x'><Default Extension='a' ContentType='t/t'/></Types>", true, false, "another namespace"},
        {"<t xmlns:q='urn:q' xmlns='" + NAMESPACE + "'><Default q:Extension='a' Extension='b' ContentType='t'/></t>",
         true, false, "an attribute of a foreign namespace"},
        {"", false, false, "empty"},
        {"   ", false, false, "blank"},
        {"PK\3\4", false, false, "no XML"},
        {good.substr(0, good.size() - 1), false, false, "cut off"},
        {good + good, false, false, "two roots"},
        {"<!DOCTYPE Types>" + good, false, false, "a DOCTYPE"},
        {"<!DOCTYPE t [<!ENTITY e SYSTEM 'file:///etc/passwd'>]>" + good, false, false, "an external entity"},
        {"<Types xmlns='" + NAMESPACE + "'>&e;</Types>", false, false, "an entity that nobody declared"},
        {"<x:Types/>", false, false, "a prefix that nobody declared"},
        {"<?xml version='1.0' encoding='UTF-9'?>" + good, false, false, "an unknown encoding"},
        {"<t a='\xFF'/>", false, false, "malformed UTF-8"},
    };
    for (const auto& [text, readable, entry, why] : cases) {
        const auto types = parse(text);
        EXPECT_EQ(types.has_value(), readable) << why;
        EXPECT_EQ(types && types->find(u"/x.a") != nullptr, entry) << why;
    }
}

TEST(ContentTypesReader, AStreamThatFailsAtItsVeryEndIsNotUsed) {
    EXPECT_TRUE(parse(test::contentTypes("")));
    EXPECT_FALSE(parse(test::contentTypes(""), true)) << "the checksum comes last";
}

TEST(ContentTypesReader, DeepAndLongStreamsAreRead) {
    std::string deep = "<Types xmlns='" + NAMESPACE + "'>";
    for (int i = 0; i < 100000; ++i)
        deep += "<a>";
    deep += "<Default Extension='a' ContentType='t/t'/>";
    EXPECT_FALSE(parse(deep)) << "never closed";
    for (int i = 0; i < 100000; ++i)
        deep += "</a>";
    const auto types = parse(deep + "</Types>");
    EXPECT_TRUE(types && types->find(u"/x.a"));

    std::string many;
    for (int i = 0; i < 50000; ++i)
        many += "<Override PartName='/p" + std::to_string(i) + "' ContentType='t/" + std::to_string(i) + "'/>";
    EXPECT_EQ(*parse(test::contentTypes(many))->find(u"/P49999"), u"t/49999");
}

} // namespace opc::storage
