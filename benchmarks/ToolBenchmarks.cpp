// SPDX-License-Identifier: Apache-2.0
#include "Benchmarks.hpp"
#include "Comparison.hpp"
#include "Process.hpp"

namespace opc::benchmarks {

void registerTool() {
    registerComparison(
        {"opcraft list of a small .docx, the whole process", "unzip -l", 101, 7},
        [] {
            return wholeProcess({OPCRAFT_TOOL, "list", OPCRAFT_DOCUMENT});
        },
        [] {
            return wholeProcess({OPCRAFT_UNZIP, "-l", OPCRAFT_DOCUMENT});
        });
}

} // namespace opc::benchmarks
