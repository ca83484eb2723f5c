// SPDX-License-Identifier: Apache-2.0
// fuzz_replay: feeds fuzz targets the inputs that are kept, without a fuzzer. For every target named it takes the files
// in seeds/<target> and crashers/<target> below the folder that is named first.
#include "Fuzz.hpp"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#define OPCRAFT_TARGET(name, function) extern "C" int function(const std::uint8_t* data, std::size_t size);
#include "FuzzTargets.inc"
#undef OPCRAFT_TARGET

namespace {

namespace fs = std::filesystem;
using Target = decltype(&LLVMFuzzerTestOneInput);

const std::map<std::string, Target> targets{
#define OPCRAFT_TARGET(name, function) {name, function},
#include "FuzzTargets.inc"
#undef OPCRAFT_TARGET
};

std::vector<fs::path> filesIn(const fs::path& folder) {
    std::vector<fs::path> files;
    if (fs::exists(folder))
        for (const auto& entry : fs::directory_iterator(folder))
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

void replay(Target target, const fs::path& file) {
    // The last line says which input it was, whatever happens now.
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    if (stream.bad())
        throw std::runtime_error("cannot be read");
    target(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

/// @return false when there is nothing to replay.
bool replayAll(const fs::path& folder, const std::string& name) {
    std::size_t count = 0;
    for (const char* kind : {"seeds", "crashers"}) {
        for (const fs::path& file : filesIn(folder / kind / name)) {
            replay(targets.at(name), file);
            ++count;
        }
    }
    if (count == 0)
        std::fprintf(stderr, "No input for %s in %s\n", name.c_str(), folder.c_str());
    return count != 0;
}

} // namespace

int main(int argc, char** argv) try {
    if (argc < 3) {
        std::fprintf(stderr, "Usage: fuzz_replay FOLDER TARGET...\n");
        return 64;
    }
    bool complete = true;
    for (int i = 2; i < argc; ++i)
        complete = replayAll(argv[1], argv[i]) && complete;
    return complete ? 0 : 1;
} catch (const std::exception& e) {
    std::fprintf(stderr, "%s\n", e.what());
    return 1;
}
