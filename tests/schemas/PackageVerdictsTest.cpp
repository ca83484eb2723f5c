// SPDX-License-Identifier: Apache-2.0
#include "Validators.hpp"

#include <gtest/gtest.h>

namespace opc::model::test {
namespace {

TEST(Verdicts, on_content_types) {
    const std::string type = " ContentType='a/b'";
    const std::string entry = "<ct:Default Extension='xml'" + type + "/>";
    const std::string override = "<ct:Override PartName='/a'" + type + "/>";
    const auto types = [](const std::string& content) { return "<ct:Types>" + content + "</ct:Types>"; };
    std::vector<Document> documents = {
        {true, types(""), "no entry"},
        {true, types(entry), "a default"},
        {true, types(override), "an override"},
        {true, types(override + entry + entry + override + entry), "any order, equal entries"},
        {true, types("\n <!-- c --><?p i?>\n"), "comments and white space"},
        {true, entry, "a default by itself: it is a global element"},
        {true, override, "an override by itself"},
        {false, "<Types/>", "no namespace"},
        {false, "<ct:types/>", "another case"},
        {false, types("text"), "text between entries"},
        {false, types("<ct:Other/>"), "an unknown element"},
        {false, types("<Default Extension='xml'" + type + "/>"), "an entry without a namespace"},
        {false, types(types("")), "the root again"},
        {false, "<ct:Types x='y'/>", "an attribute of the root"},
        {false, "<ct:Default Extension='xml'/>", "no type for an extension"},
        {false, "<ct:Default" + type + "/>", "no extension"},
        {false, "<ct:Default Extension='xml' PartName='/a'" + type + "/>", "an attribute of the other"},
        {false, "<ct:Default ct:Extension='xml'" + type + "/>", "a qualified attribute"},
        {false, "<ct:Default Extension='xml'" + type + "> </ct:Default>", "white space in an empty element"},
        {false, "<ct:Default Extension='xml'" + type + "><ct:Default/></ct:Default>", "an element in an entry"},
        {false, "<ct:Override PartName='/a'/>", "no type for a part"},
        {false, "<ct:Override" + type + "/>", "no part name"},
        {false, "<ct:Override PartName='/a' Extension='b'" + type + "/>", "an attribute of the other"},
        {false, "<ct:Override PartName='/a'" + type + ">x</ct:Override>", "text in an entry"},
        {true, "<ct:Override PartName=''" + type + "/>", "an empty part name is a URI"},
        {true, "<ct:Override PartName='  /a%20b '" + type + "/>", "white space around a URI"},
        {false, "<ct:Override PartName='%zz'" + type + "/>", "a part name that is no URI"},
        {true, "<ct:Types xsi:type='ct:CT_Types'/>", "the type that it has"},
        {false, "<ct:Types xsi:type='ct:CT_Default'/>", "a type that it has not"},
        {false, "<ct:Types xsi:nil='true'/>", "not nillable"},
        {false, "<ct:Default Extension='x' ContentType='a'/>", "no content type for an extension"},
        {false, "<ct:Override PartName='/a' ContentType='a'/>", "no content type for a part"},
        {false, "<ct:Default xsi:nil='true' Extension='xml'" + type + "/>", "not nillable"},
        {false, "<ct:Override xsi:nil='true' PartName='/a'" + type + "/>", "not nillable"},
    };
    expectVerdicts(contentTypesSchemas(), documents);
}

/// A text in an attribute, where every character may stand.
std::string escaped(const std::string& text) {
    std::string result;
    for (const unsigned char c : text)
        result += "&#" + std::to_string(c) + ";";
    return result;
}

TEST(Verdicts, on_extensions) {
    std::vector<Document> documents;
    const auto add = [&](bool valid, const std::string& extension) {
        documents.push_back(
            {valid, "<ct:Default ContentType='a/b' Extension='" + escaped(extension) + "'/>", extension});
    };
    add(false, "");
    add(true, "a!$&'()*+,:=@-_~09AZ%2f");
    add(false, "\xC3\xA9");
    for (char c = ' '; c <= '~'; ++c) {
        const std::string character(1, c);
        const bool alphanumeric = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        const bool allowed = alphanumeric || std::string("!$&'()*+,:=@-_~").find(c) != std::string::npos;
        add(allowed, character);
        add(allowed, "a" + character);
        const bool digit = alphanumeric && (c <= 'F' || (c >= 'a' && c <= 'f'));
        add(digit, "%" + character + "0");
        add(digit, "%0" + character);
    }
    expectVerdicts(contentTypesSchemas(), documents);
}

std::string withMedia(const std::string& reference) {
    return "<ct:Override PartName='/x' ContentType='" + reference + "'/>";
}

TEST(Verdicts, on_media_types) {
    std::vector<Document> documents = {
        {false, withMedia("a/b;c=&quot;d&quot;e"), "text behind a quoted value",
         "libxml2 takes \"ba\" for the pattern ((a)+|b)"},
    };
    for (const std::string media : {"a/b", "abc/def", "a/b;c=d", "a/b ; c=d; e=f", "a/b\t;\nc=d", "a/b  ;  c=d",
                                    "a/b;c=\"\"", "a/b;c=\"d e\";f=g", "a/b;c=\"\\\"\"", "a/b;cde=fgh"})
        documents.push_back({true, withMedia(escaped(media)), media});
    for (const std::string media :
         {"",         "a",       "a/",        "/b",       "a/b/c",         "a/b;",     "a/b;c",
          "a/b;c=",   "a/b;=d",  "a/b; c =d", "a/b;c= d", " a/b",          "a/b ",     "a /b",
          "a/b;c=d ", "a/b c=d", "a/bc=d",    "a/b;c=\"", "a/b;c=\"\"d\"", "a/b;c=d;", "a/b;c=d\"\""})
        documents.push_back({false, withMedia(escaped(media)), media});
    const std::string separators = "()<>@,;:\\\"/[]?={}";
    std::vector<int> codes = {'\t', '\n', '\r', 0x80, 0x85, 0x9F, 0xA0, 0xE9, 0xFF, 0x100};
    for (int code = ' '; code <= 0x7F; ++code)
        codes.push_back(code);
    for (const int code : codes) {
        const std::string c = "&#" + std::to_string(code) + ";";
        const bool space = code <= ' ';
        const bool token = code > ' ' && code < 0x7F && separators.find(char(code)) == std::string::npos;
        const bool quotable = space || (code < 0x7F && code != '"') || (code >= 0xA0 && code <= 0xFF);
        documents.push_back({token, withMedia(c + "/b"), c + " as type"});
        documents.push_back({token, withMedia("a/" + c), c + " as subtype"});
        documents.push_back({token || space, withMedia("a/b" + c + ";c=d"), c + " behind a subtype"});
        documents.push_back({token, withMedia("a/b;" + c + "=d"), c + " as attribute"});
        documents.push_back({token, withMedia("a/b;c=" + c), c + " as value"});
        documents.push_back({quotable, withMedia("a/b;c=&quot;" + c + "&quot;"), c + " in quotes"});
        documents.push_back({quotable || code < 0x80, withMedia("a/b;c=&quot;\\" + c + "&quot;"), c + " escaped"});
    }
    expectVerdicts(contentTypesSchemas(), documents);
}

TEST(Verdicts, on_relationships) {
    const auto one = [](const std::string& attributes, const std::string& content = "") {
        return "<rel:Relationship " + attributes + ">" + content + "</rel:Relationship>";
    };
    const auto all = [](const std::string& content) {
        return "<rel:Relationships>" + content + "</rel:Relationships>";
    };
    const std::string rest = " Type='http://t' Target='a.xml'";
    expectVerdicts(relationshipsSchemas(),
                   {
                       {true, all(""), "no relationship"},
                       {true, all(one("Id='a'" + rest) + one("Id='b'" + rest) + one("Id='c'" + rest)), "three"},
                       {true, all("\n<!-- c -->\n"), "comments and white space"},
                       {true, one("Id='a'" + rest), "a relationship by itself: it is a global element"},
                       {true, one("Id='a'" + rest, "text <!-- c -->"), "text in one"},
                       {true, one("Id='a' TargetMode='Internal'" + rest), "internal"},
                       {true, one("Id='a' TargetMode='External'" + rest), "external"},
                       {true, one("Id='_a-1.\xC3\xA9'" + rest), "an odd Id"},
                       {true, one("Id=' a '" + rest), "white space around an Id"},
                       {true, one("Id='a' Type='' Target=''"), "empty URIs"},
                       {true, one("Id='a' Type='t' Target='a b{}|\xC3\xA9'"), "a target that is no strict URI"},
                       {true, one("Id='a' Type='t' Target='http://h:80/p?q#f'"), "all of a URI"},
                       {false, "<Relationships/>", "no namespace"},
                       {false, all("text"), "text between them"},
                       {false, all("<Relationship Id='a'" + rest + "/>"), "one without a namespace"},
                       {false, all(all("")), "the root again"},
                       {false, "<rel:Relationships x='y'/>", "an attribute of the root"},
                       {false, one("Id='1'" + rest), "an Id that starts with a digit"},
                       {false, one("Id='a:b'" + rest), "an Id with a colon"},
                       {false, one("Id='a b'" + rest), "an Id with a space"},
                       {false, one("Id=''" + rest), "an empty Id"},
                       {false, one(rest), "no Id"},
                       {false, one("Id='a' Type='t'"), "no target"},
                       {false, one("Id='a' Target='t'"), "no type"},
                       {false, one("Id='a' Type='t' Target='%zz'"), "a target that is no URI"},
                       {false, one("Id='a' Type='%zz' Target='t'"), "a type that is no URI"},
                       {false, one("Id='a' TargetMode='external'" + rest), "the case of the mode"},
                       {false, one("Id='a' TargetMode=''" + rest), "an empty mode"},
                       {false, one("Id='a' TargetMode=' External'" + rest), "white space counts"},
                       {false, one("Id='a' x='y'" + rest), "an unknown attribute"},
                       {false, one("rel:Id='a'" + rest), "a qualified attribute"},
                       {false, one("Id='a'" + rest, one("Id='b'" + rest)), "an element in one"},
                       {false, one("Id='a' xsi:type='xs:string'" + rest), "a type that it has not"},
                       {false, one("Id='a' xsi:nil='true'" + rest), "not nillable"},
                       {false, "<rel:Relationships xsi:nil='true'/>", "not nillable"},
                   });
}

TEST(Verdicts, on_URIs) {
    const char* const port = "it takes a port for a number of 32 bits that is not empty";
    const char* const bracket = "it does not read an address in brackets, nor brackets in a fragment";
    std::vector<Document> documents;
    const auto add = [&](bool valid, const std::string& uri, const char* xmllintErrs = nullptr) {
        documents.push_back(
            {valid, "<rel:Relationship Id='i' Type='t' Target='" + uri + "'/>", "a target: " + uri, xmllintErrs});
    };
    for (const char* uri : {"mailto:",
                            "tel:",
                            "file:",
                            "x:",
                            "news:",
                            "urn:x:y",
                            "mailto:a@b?subject=x y",
                            "a b",
                            " a ",
                            "http://x y/",
                            "file:///C:\\My Doc\\x",
                            "\\\\server\\a",
                            "file:C:/x",
                            "{a}|^`\"&lt;>",
                            "http://[::1]/",
                            "http://[v1.x]/",
                            "\xC3\xA4",
                            "//server/\xC3\xA4",
                            "\xF0\x9F\x98\x80",
                            "\xC2\xA0",
                            "#a b",
                            "?a|b",
                            "//",
                            "///",
                            "http://",
                            "http:///",
                            "a:b:c",
                            "&#9;a&#10;b",
                            "?",
                            "#",
                            "",
                            "a//b",
                            "http://1.2.3.256/",
                            "http://a_b/",
                            "http://%41/",
                            "javascript:alert(1)"})
        add(true, uri);
    for (const char* uri : {"%zz",
                            "a%2",
                            "a#b#c",
                            "h/a[1]",
                            "1:",
                            "1a:b",
                            "-:x",
                            ":",
                            "::",
                            "\xC3\xA4:b",
                            "a b:c",
                            "http://h:port/",
                            "http://h:80:90/",
                            "http://h:-1/",
                            "http://u@@h/",
                            "http://a:b@c:d/",
                            "http://[::1",
                            "http://h/[",
                            "http://h/?[]",
                            "http://h%zz/",
                            "file://C:\\x",
                            "docs\\a:b"})
        add(false, uri);
    add(true, "http://h:/", port);
    add(true, "http://h:99999999999/", port);
    add(false, "http://[1]/", bracket);
    add(false, "#[", bracket);
    expectVerdicts(relationshipsSchemas(), documents);
}

} // namespace
} // namespace opc::model::test
