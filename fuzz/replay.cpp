// SPDX-License-Identifier: Apache-2.0
// fuzz_replay FOLDER TARGET...: feeds fuzz targets the inputs that are kept, without a fuzzer: the files in
// seeds/TARGET and crashers/TARGET below the folder.
#include "Fuzz.hpp"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <set>

#define OPCRAFT_TARGET(name, function) extern "C" int function(const std::uint8_t* data, std::size_t size);
#include "FuzzTargets.inc"
#undef OPCRAFT_TARGET

namespace {

const std::map<std::string, decltype(&LLVMFuzzerTestOneInput)> targets{
#define OPCRAFT_TARGET(name, function) {name, function},
#include "FuzzTargets.inc"
#undef OPCRAFT_TARGET
};

/// @return how many there are.
std::size_t replayAll(const std::filesystem::path& folder, const std::string& target) {
    if (!std::filesystem::exists(folder))
        return 0;
    const std::set<std::filesystem::path> files(std::filesystem::directory_iterator(folder), {});
    for (const std::filesystem::path& file : files) {
        std::cout << file << std::endl; // the last line says which input it was, whatever happens now
        std::ifstream stream(file, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
        targets.at(target)(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    return files.size();
}

} // namespace

int main(int argc, char** argv) try {
    const std::filesystem::path folder = argc > 1 ? argv[1] : "";
    for (const std::string& target : std::vector<std::string>(argv + std::min(argc, 2), argv + argc))
        if (replayAll(folder / "seeds" / target, target) + replayAll(folder / "crashers" / target, target) == 0)
            throw std::runtime_error("no input for " + target);
} catch (const std::exception& e) {
    std::cerr << e.what() << '\n';
    return 1;
}
