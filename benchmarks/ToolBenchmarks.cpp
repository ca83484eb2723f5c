// SPDX-License-Identifier: Apache-2.0
#include "Benchmarks.hpp"
#include "Comparison.hpp"
#include "ManyParts.hpp"
#include "Process.hpp"
#include "Workspace.hpp"

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace opc::benchmarks {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t FILES = 10'000;

/// A process that makes a file or folder, which is removed off the clock.
Side makingProcess(const fs::path& made, std::vector<std::string> arguments) {
    return [made, run = wholeProcess(std::move(arguments))] {
        fs::remove_all(made);
        return run();
    };
}

/// A folder with the files of a package of many parts, made at the first call.
const fs::path& manyFiles() {
    static const fs::path folder = [] {
        const fs::path made = workFile("files");
        runProgram({OPCRAFT_TOOL, "extract", manyParts(FILES).string(), made.string()});
        return made;
    }();
    return folder;
}

void registerFolders() {
    registerComparison(
        {"opcraft extract of 10,000 parts, the whole process", "unzip", 21, 1.1},
        [] {
            const fs::path folder = workFile("extracted");
            return makingProcess(folder, {OPCRAFT_TOOL, "extract", manyParts(FILES).string(), folder.string()});
        },
        [] {
            const fs::path folder = workFile("unzipped");
            const std::string command = "\"$0\" -q -d \"$1\" \"$2\" && echo done";
            return makingProcess(folder,
                                 {"/bin/sh", "-c", command, OPCRAFT_UNZIP, folder.string(), manyParts(FILES).string()});
        });
    registerComparison(
        {"opcraft pack of 10,000 parts, the whole process", "zip -r", 21, 1.1},
        [] {
            const fs::path file = workFile("packed.zip");
            return makingProcess(file, {OPCRAFT_TOOL, "pack", manyFiles().string(), file.string()});
        },
        [] {
            const fs::path file = workFile("zipped.zip");
            const std::string command = "cd \"$0\" && \"$1\" -q -X -r \"$2\" . && echo done";
            return makingProcess(file, {"/bin/sh", "-c", command, manyFiles().string(), OPCRAFT_ZIP, file.string()});
        });
}

} // namespace

void registerTool() {
    registerFolders();
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
