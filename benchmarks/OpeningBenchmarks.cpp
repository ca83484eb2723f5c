// SPDX-License-Identifier: Apache-2.0
#include "Benchmarks.hpp"
#include "Comparison.hpp"
#include "Floors.hpp"
#include "ManyParts.hpp"

#include <opc/model/Package.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <stdexcept>
#include <vector>

namespace opc::benchmarks {

namespace {

/// The largest good ratio for each number of parts.
constexpr std::pair<std::size_t, double> AIMS[] = {{100, 1.5}, {1000, 1.7}, {10000, 1.8}, {50000, 2.0}};

struct OpenPackage {
    explicit OpenPackage(const std::filesystem::path& file) : zip(file), package(zip) {
        package.open(interfaces::OpenMode::ReadOnly);
    }
    storage::ZipPackage zip;
    model::Package package;
};

void throwIfDifferent(std::size_t count, std::size_t expected) {
    if (count != expected)
        throw std::runtime_error("a floor read " + std::to_string(count) + " items instead of " +
                                 std::to_string(expected));
}

Side open(std::size_t parts) {
    const auto file = manyParts(parts);
    return timed([file] { return std::make_shared<OpenPackage>(file); });
}

Side openMany(std::size_t parts, std::size_t times) {
    const auto file = manyParts(parts);
    return timed([file, times] {
        auto packages = std::make_shared<std::vector<std::unique_ptr<OpenPackage>>>();
        for (std::size_t i = 0; i < times; ++i)
            packages->push_back(std::make_unique<OpenPackage>(file));
        return packages;
    });
}

Side parse(std::size_t parts, std::size_t times = 1) {
    const auto file = manyParts(parts);
    return timed([file, parts, times] {
        auto read = std::make_shared<std::vector<std::unique_ptr<XmlItems>>>();
        for (std::size_t i = 0; i < times; ++i) {
            read->push_back(std::make_unique<XmlItems>(file));
            throwIfDifferent(read->back()->count(), countOfRelated(parts) + 2); // the package's own, and the types
        }
        return read;
    });
}

int pairsFor(std::size_t parts) {
    return parts <= 1000 ? 101 : parts <= 10000 ? 21 : 7;
}

} // namespace

void registerOpening() {
    constexpr const char* floor = "libzip and a bare SAX pass";
    for (const auto& [parts, aim] : AIMS)
        registerComparison(
            {"open " + std::to_string(parts) + " parts", floor, pairsFor(parts), aim}, [n = parts] { return open(n); },
            [n = parts] { return parse(n); });
    registerComparison(
        {"open 1000 documents of 40 parts", floor, 7, 1.7}, [] { return openMany(40, 1000); },
        [] { return parse(40, 1000); });
    registerComparison(
        {"open, each of 50000 parts", "each of 1000 parts (opened 50 times)", 7, 1.15}, [] { return open(50000); },
        [] { return openMany(1000, 50); });
}

} // namespace opc::benchmarks
