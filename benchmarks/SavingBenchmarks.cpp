// SPDX-License-Identifier: Apache-2.0
#include "Benchmarks.hpp"
#include "Comparison.hpp"
#include "ManyParts.hpp"
#include "Workspace.hpp"
#include "Zip.hpp"

namespace opc::benchmarks {

namespace {

/// The largest good ratio for each number of parts.
constexpr std::pair<std::size_t, double> AIMS[] = {{100, 1.2}, {1000, 1.1}, {10000, 1.1}, {50000, 1.3}};

Side create(std::size_t parts) {
    const auto file = workFile("created.zip");
    return timed([file, bodies = bodiesOfParts(parts)] {
        createManyParts(file, bodies);
        return nullptr;
    });
}

/// The same items, ready made, the relationships parts and the content types stream among them.
Side write(std::size_t parts) {
    const auto file = workFile("written.zip");
    return timed([file, items = readItems(manyParts(parts))] {
        writeItems(file, items);
        return nullptr;
    });
}

int pairsFor(std::size_t parts) {
    return parts <= 1000 ? 41 : parts <= 10000 ? 15 : 5;
}

} // namespace

void registerSaving() {
    for (const auto& [parts, aim] : AIMS)
        registerComparison(
            {"create and save " + std::to_string(parts) + " parts", "libzip writing the same items", pairsFor(parts),
             aim},
            [n = parts] { return create(n); }, [n = parts] { return write(n); });
}

} // namespace opc::benchmarks
