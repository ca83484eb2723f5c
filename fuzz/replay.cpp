// SPDX-License-Identifier: Apache-2.0
// fuzz_replay FOLDER TARGET...: feeds fuzz targets the inputs that are kept, without a fuzzer: the files in
// seeds/TARGET and crashers/TARGET below the folder.
#include "Fuzz.hpp"

#include "support/TemporaryFolder.hpp"

#include <iostream>

int main(int argc, char** argv) try {
    for (const std::string& target : std::vector<std::string>(argv + std::min(argc, 2), argv + argc)) {
        std::set<std::filesystem::path> files;
        for (const char* kind : {"seeds", "crashers"})
            if (const auto folder = std::filesystem::path(argv[1]) / kind / target; std::filesystem::exists(folder))
                files.insert(std::filesystem::directory_iterator(folder), {});
        if (files.empty())
            throw std::runtime_error("no input for " + target);
        for (const std::filesystem::path& file : files) {
            std::cout << file << std::endl; // the last line says which input it was, whatever happens now
            opc::fuzz::targets().at(target)(opc::test::readFile(file));
        }
    }
} catch (const std::exception& e) {
    std::cerr << e.what() << '\n';
    return 1;
}
