// SPDX-License-Identifier: Apache-2.0
// opcraft-benchmarks [--benchmark_filter=REGEX]: measures and prints one table.
#include "Benchmarks.hpp"
#include "Table.hpp"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string_view>

namespace {

int measure(int argc, char** argv) {
    using namespace opc::benchmarks;
    registerOpening();
    registerSaving();
    registerLookUps();
    registerNames();
    registerHugeParts();
    registerSigning();
    registerTool();
    registerPython();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return EXIT_FAILURE;
    Table table;
    if (benchmark::RunSpecifiedBenchmarks(&table) == 0)
        return EXIT_FAILURE;
    return table.isAnyFailed() ? EXIT_FAILURE : EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc == 4 && std::string_view(argv[1]) == "--task")
            return opc::benchmarks::runHugeTask(argv[2], argv[3]);
        return measure(argc, argv);
    } catch (const std::exception& e) {
        std::cerr << e.what() << '\n';
        return EXIT_FAILURE;
    }
}
