// SPDX-License-Identifier: Apache-2.0
#include "iri/IRI.hpp"

#include <opc/core/Strings.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <random>

namespace opc::iri {
namespace {

// Far above what linear work takes, under sanitizers too, and far below what quadratic work takes.
constexpr std::chrono::seconds timeLimit(30);

std::string resolve(const std::string& base, const std::string& reference) {
    const IRI iri(toString(reference), Form::Uri);
    return toASCIIString(iri.resolveAgainst(IRI(toString(base), Form::Uri)).toAsciiString());
}

std::string relativize(const std::string& base, const std::string& target) {
    const IRI iri(toString(target), Form::Uri);
    return toASCIIString(iri.makeRelativeTo(IRI(toString(base), Form::Uri)).toAsciiString());
}

std::string repeat(const std::string& piece, std::size_t count) {
    std::string text;
    while (count-- > 0)
        text += piece;
    return text;
}

TEST(Resolving, FollowsTheExamplesOfTheStandard) {
    // RFC 3986 §5.4.1 and §5.4.2, in their order.
    const struct {
        const char* reference;
        const char* target;
    } examples[] = {
        {"g:h", "g:h"},
        {"g", "http://a/b/c/g"},
        {"./g", "http://a/b/c/g"},
        {"g/", "http://a/b/c/g/"},
        {"/g", "http://a/g"},
        {"//g", "http://g"},
        {"?y", "http://a/b/c/d;p?y"},
        {"g?y", "http://a/b/c/g?y"},
        {"#s", "http://a/b/c/d;p?q#s"},
        {"g#s", "http://a/b/c/g#s"},
        {"g?y#s", "http://a/b/c/g?y#s"},
        {";x", "http://a/b/c/;x"},
        {"g;x", "http://a/b/c/g;x"},
        {"g;x?y#s", "http://a/b/c/g;x?y#s"},
        {"", "http://a/b/c/d;p?q"},
        {".", "http://a/b/c/"},
        {"./", "http://a/b/c/"},
        {"..", "http://a/b/"},
        {"../", "http://a/b/"},
        {"../g", "http://a/b/g"},
        {"../..", "http://a/"},
        {"../../", "http://a/"},
        {"../../g", "http://a/g"},
        {"../../../g", "http://a/g"},
        {"../../../../g", "http://a/g"},
        {"/./g", "http://a/g"},
        {"/../g", "http://a/g"},
        {"g.", "http://a/b/c/g."},
        {".g", "http://a/b/c/.g"},
        {"g..", "http://a/b/c/g.."},
        {"..g", "http://a/b/c/..g"},
        {"./../g", "http://a/b/g"},
        {"./g/.", "http://a/b/c/g/"},
        {"g/./h", "http://a/b/c/g/h"},
        {"g/../h", "http://a/b/c/h"},
        {"g;x=1/./y", "http://a/b/c/g;x=1/y"},
        {"g;x=1/../y", "http://a/b/c/y"},
        {"g?y/./x", "http://a/b/c/g?y/./x"},
        {"g?y/../x", "http://a/b/c/g?y/../x"},
        {"g#s/./x", "http://a/b/c/g#s/./x"},
        {"g#s/../x", "http://a/b/c/g#s/../x"},
        {"http:g", "http:g"},
    };
    for (const auto& row : examples)
        EXPECT_EQ(resolve("http://a/b/c/d;p?q", row.reference), row.target) << row.reference;
}

TEST(Resolving, WorksOnBasesThatAreNotAbsolute) {
    const struct {
        const char* base;
        const char* reference;
        const char* target;
        const char* why;
    } table[] = {
        {"/a/b.xml", "c.xml", "/a/c.xml", "beside it"},
        {"/a/b.xml", "../c.xml", "/c.xml", "above it"},
        {"/a/b.xml", "../../../c.xml", "/c.xml", "never above the root"},
        {"/a/b.xml", "/c.xml", "/c.xml", "from the root"},
        {"/a/b.xml", "", "/a/b.xml", "itself"},
        {"/a/b.xml?q#f", "", "/a/b.xml?q", "itself, without the fragment"},
        {"/a/b.xml?q", "#g", "/a/b.xml?q#g", "a place in it"},
        {"/a/b.xml?q", "?", "/a/b.xml?", "an empty query is a query"},
        {"/a/b.xml", "..", "/", "a folder keeps its slash"},
        {"/", "a", "/a", "in the root"},
        {"/a/b.xml", "http://h/../x", "http://h/x", "dot segments of an absolute reference go, too"},
        {"/a/./b/../c.xml", "d", "/a/d", "dot segments of the base go with the merge"},
        {"/a/../b", "", "/a/../b", "an empty path takes the base as it is"},
        {"//h/a/b", "//g/../x", "//g/x", "another authority"},
        {"//h", "a", "//h/a", "behind an authority without a path"},
        {"//h", "../a", "//h/a", "behind an authority without a path"},
        {"http://h?q", "?r", "http://h?r", "an authority without a path"},
        {"/a//b/c", "../d", "/a//d", "an empty segment is a segment"},
        {"a/b", "c", "a/c", "a base without a root"},
        {"a/b", "../c", "/c", "the removal of dot segments to the letter"},
        {"", "a/./b", "a/b", "an empty base"},
        {"", "../..", "", "nothing is left"},
        {"mailto:a@b", "#f", "mailto:a@b#f", "an opaque base"},
    };
    for (const auto& row : table)
        EXPECT_EQ(resolve(row.base, row.reference), row.target)
            << row.base << " + " << row.reference << ": " << row.why;
}

TEST(Resolving, AResultIsNotTakenForSomethingElse) {
    const struct {
        const char* base;
        const char* reference;
        const char* target;
        const char* why;
    } table[] = {
        {"/a/b", "/.//c", "/.//c", "else c was an authority"},
        {"/a/b", "..//c", "/.//c", "else c was an authority"},
        {"/a/b", "/x/..//c/d", "/.//c/d", "else c was an authority"},
        {"x:/a", "/.//c", "x:/.//c", "else c was an authority"},
        {"/", "x:/..//c", "x:/.//c", "else c was an authority"},
        {"//h/a", "/.//c", "//h//c", "behind an authority there is no doubt"},
        {"a", "./b:c", "./b:c", "else b was a scheme"},
        {"", "x/../b:c", "/b:c", "a slash keeps it apart"},
        {"x:a", "./b:c", "x:b:c", "behind a scheme there is no doubt"},
        {"/a", "./b:c", "/b:c", "behind a slash there is no doubt"},
    };
    for (const auto& row : table) {
        const std::string target = resolve(row.base, row.reference);
        EXPECT_EQ(target, row.target) << row.base << " + " << row.reference << ": " << row.why;
        EXPECT_EQ(resolve(row.base, target), target) << "resolving again changes nothing";
    }
}

TEST(Relativizing, GivesTheShortWay) {
    const struct {
        const char* base;
        const char* target;
        const char* way;
        const char* why;
    } table[] = {
        {"/", "/b", "b", "from the root"},
        {"/", "/word/document.xml", "word/document.xml", "from the root, deeper"},
        {"/a/b.xml", "/a", "../a", "a file named as the folder"},
        {"/a", "/a/b.xml", "a/b.xml", "a folder named as the file"},
        {"/a/b.xml", "/a/c.xml", "c.xml", "beside"},
        {"/a/b.xml", "/c.xml", "../c.xml", "above"},
        {"/a/b/c", "/x/y", "../../x/y", "in another folder"},
        {"/ab/c", "/a/c", "../a/c", "a segment that only starts like the other"},
        {"/a/b", "/A/b", "../A/b", "the case counts"},
        {"/a/b.xml", "/a/b.xml", "b.xml", "itself"},
        {"/a/b", "/a/", "./", "its folder"},
        {"/a/b/c", "/a/", "../", "the folder above"},
        {"/a/", "/a/b", "b", "a base that is a folder"},
        {"/a", "/b:c", "./b:c", "b is no scheme"},
        {"/a", "/b/c:d", "b/c:d", "behind a slash a colon is harmless"},
        {"/a/b", "/c:d", "../c:d", "behind a slash a colon is harmless"},
        {"/a/b", "/c?q:r#f/s", "../c?q:r#f/s", "query and fragment are kept"},
        {"/a", "/b?c:d", "b?c:d", "a colon in a query is harmless"},
        {"/a?x#y", "/b", "b", "those of the base are not"},
        {"/a?x", "/a", "a", "the same path without the query"},
        {"/a//b", "/a/c", "../c", "an empty segment is a segment"},
        {"/a/b", "/a//c", ".//c", "else c would start at the root"},
        {"//h/a", "//h//c", ".//c", "else c would be an authority"},
        {"//h/a/b", "//h//c", "..//c", "above, nothing is in doubt"},
        {"http://h/a/b", "http://h/c", "../c", "with scheme and authority"},
        {"/a/./b/../c", "/a/d", "d", "dot segments in the base"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(relativize(row.base, row.target), row.way) << row.base << " -> " << row.target << ": " << row.why;
        EXPECT_EQ(resolve(row.base, row.way), row.target) << row.base << " + " << row.way;
    }
}

TEST(Relativizing, GivesTheTargetWhereThereIsNoWay) {
    const std::pair<const char*, const char*> pairs[] = {
        {"x:/a", "y:/a"},           {"x:/a", "X:/a"},    {"/a", "x:/a"}, {"//g/a", "//h/a"}, {"http://h/a", "http://h"},
        {"http://h", "http://h/a"}, {"x:/a", "x://h/a"}, {"x:a", "x:b"}, {"//h/a", "///a"},
    };
    for (const auto& [base, target] : pairs) {
        EXPECT_EQ(relativize(base, target), target) << base;
        EXPECT_EQ(resolve(base, target), target) << base;
    }
    EXPECT_EQ(relativize("x:/a", "/a"), "/a");
    EXPECT_EQ(relativize("/a/b", "c/d"), "c/d");
    EXPECT_EQ(relativize("a/b", "/c"), "/c");
}

// An absolute path of up to five segments, without dot segments, that often shares its start with others.
std::string makePath(std::mt19937& random) {
    static const char* const segments[] = {"a", "b", "ab", "", "a:b", ":", "...", ".a", "a.", "%2E", "%20", "@;=", "A"};
    std::string path;
    for (auto count = 1 + random() % 5; count > 0; --count)
        path.append("/").append(segments[random() % std::size(segments)]);
    return path;
}

TEST(Relativizing, ResolvingBringsTheTargetBack) {
    std::mt19937 random(20260101); // the same sequence everywhere
    const char* const origins[] = {"", "", "//h", "x://h:1", "x:"};
    const char* const tails[] = {"", "", "?", "?q/../r:s", "#", "#f", "?q#f"};
    int checked = 0;
    while (checked < 50'000) {
        const std::string origin = origins[random() % std::size(origins)];
        const std::string basePath = makePath(random);
        const std::string targetPath = makePath(random);
        // Without an authority a path cannot start with an empty segment.
        if (origin.find('/') == std::string::npos && (basePath.starts_with("//") || targetPath.starts_with("//")))
            continue;
        const std::string base = origin + basePath + tails[random() % std::size(tails)];
        const std::string target = origin + targetPath + tails[random() % std::size(tails)];
        const std::string way = relativize(base, target);
        ASSERT_EQ(resolve(base, way), target) << base << " + " << way;
        ASSERT_FALSE(way.starts_with('/') || IRI(toString(way)).hasScheme()) << base << " -> " << target << ": " << way;
        ++checked;
    }
}

TEST(Resolving, LongPathsTakeLinearTime) {
    const auto start = std::chrono::steady_clock::now();
    const std::size_t many = 500'000;
    EXPECT_EQ(resolve("/" + repeat("a/", many), repeat("../", many) + "b"), "/b");
    EXPECT_EQ(resolve("/" + repeat("a", 1 << 20) + "/b", repeat("../", many)), "/");
    EXPECT_EQ(resolve("/x", repeat("a/../", many) + "b"), "/b");
    EXPECT_EQ(resolve("/x", repeat("./", many) + "b"), "/b");
    EXPECT_EQ(resolve("//h/x", "." + repeat("/", many) + repeat("../", many)), "//h/");

    const std::string deep = "/" + repeat("a/", many);
    EXPECT_EQ(relativize(deep, "/b"), repeat("../", many) + "b");
    EXPECT_EQ(relativize(deep + "b", deep + "c"), "c");
    EXPECT_EQ(relativize("/x", deep), deep.substr(1));
    EXPECT_EQ(relativize("/" + repeat("a", 1 << 20) + "/b", "/" + repeat("a", 1 << 20)), "../" + repeat("a", 1 << 20));
    EXPECT_LT(std::chrono::steady_clock::now() - start, timeLimit);
}

} // namespace
} // namespace opc::iri
