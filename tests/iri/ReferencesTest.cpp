// SPDX-License-Identifier: Apache-2.0
#include "iri/IRI.hpp"

#include <opc/core/Strings.hpp>

#include "support/Table.hpp"

#include <gtest/gtest.h>

#include <ctime>
#include <random>

namespace opc::iri {
namespace {

std::string resolve(const std::string& base, const std::string& reference) {
    const IRI iri(toString(reference), Form::Uri);
    return toASCIIString(iri.resolveAgainst(IRI(toString(base), Form::Uri)).toAsciiString());
}

std::string relativize(const std::string& base, const std::string& target) {
    const IRI iri(toString(target), Form::Uri);
    return toASCIIString(iri.makeRelativeTo(IRI(toString(base), Form::Uri)).toAsciiString());
}

TEST(Resolving, FollowsTheStandard) {
    for (const auto& row : test::readTable("iri/resolving.tsv"))
        EXPECT_EQ(resolve(row[0], row[1]), row[2]) << row[0] << " + " << row[1] << ": " << row[3];
}

TEST(Relativizing, GivesTheShortWayAndResolvingBringsTheTargetBack) {
    for (const auto& row : test::readTable("iri/relativizing.tsv")) {
        EXPECT_EQ(relativize(row[0], row[1]), row[2]) << row[0] << " -> " << row[1] << ": " << row[3];
        EXPECT_TRUE(row[3].starts_with("no way:") || resolve(row[0], row[2]) == row[1]) << row[0] << " + " << row[2];
    }
}

/// An absolute path of up to five segments, without dot segments, that often shares its start with others.
std::string makePath(std::mt19937& random) {
    static const char* const segments[] = {"a", "b", "ab", "", "a:b", ":", "...", ".a", "a.", "%2E", "%20", "@;=", "A"};
    std::string path;
    for (auto count = 1 + random() % 5; count > 0; --count)
        path.append("/").append(segments[random() % std::size(segments)]);
    return path;
}

TEST(Relativizing, ResolvingBringsAnyTargetBack) {
    std::mt19937 random(20260101); // the same sequence everywhere
    const char* const origins[] = {"", "", "//h", "x://h:1", "x:"};
    const char* const tails[] = {"", "", "?", "?q/../r:s", "#", "#f", "?q#f"};
    for (int checked = 0; checked < 50'000; ++checked) {
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
    }
}

TEST(Resolving, LongPathsTakeLinearTime) {
    const std::clock_t start = std::clock();
    const auto repeat = [](const std::string& piece) {
        std::string text;
        for (int i = 0; i < 500'000; ++i)
            text += piece;
        return text;
    };
    const std::string deep = "/" + repeat("a/");
    const std::string up = repeat("../");
    EXPECT_EQ(resolve(deep, up + "b"), "/b");
    EXPECT_EQ(resolve("/" + repeat("aa") + "/b", up), "/");
    EXPECT_EQ(resolve("/x", repeat("a/../") + "b"), "/b");
    EXPECT_EQ(resolve("/x", repeat("./") + "b"), "/b");
    EXPECT_EQ(resolve("//h/x", "." + repeat("/") + up), "//h/");
    EXPECT_EQ(relativize(deep, "/b"), up + "b");
    EXPECT_EQ(relativize(deep + "b", deep + "c"), "c");
    EXPECT_EQ(relativize("/x", deep), deep.substr(1));
    EXPECT_EQ(relativize("/" + repeat("aa") + "/b", "/" + repeat("aa")), "../" + repeat("aa"));
    // Far above what linear work takes, under sanitizers too, and far below what quadratic work takes.
    EXPECT_LT(std::clock() - start, 30 * CLOCKS_PER_SEC);
}

} // namespace
} // namespace opc::iri
