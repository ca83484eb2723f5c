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

template <class Parser>
Side parse(std::size_t parts) {
    const auto file = manyParts(parts);
    return timed([file, parts] {
        auto read = std::make_shared<XmlItems<Parser>>(file);
        throwIfDifferent(read->count(), countOfRelated(parts) + 2); // the package's own, and the content types
        return read;
    });
}

int pairsFor(std::size_t parts) {
    return parts <= 1000 ? 101 : parts <= 10000 ? 21 : 7;
}

} // namespace

void registerOpening() {
    constexpr double aim = 1.3;
    for (const std::size_t parts : {100, 1000, 10000, 50000}) {
        const std::string name = "open " + std::to_string(parts) + " parts";
        registerComparison(
            {name, "libzip and a bare SAX pass", pairsFor(parts)}, [parts] { return open(parts); },
            [parts] { return parse<SaxParser>(parts); });
        registerComparison(
            {name, "libzip and the same validating parse", pairsFor(parts), parts == 10000 ? aim : 0},
            [parts] { return open(parts); }, [parts] { return parse<ValidatingParser>(parts); });
    }
    registerComparison(
        {"open, each of 50000 parts", "each of 1000 parts (opened 50 times)", 7, aim}, [] { return open(50000); },
        [] { return openMany(1000, 50); });
}

} // namespace opc::benchmarks
