// SPDX-License-Identifier: Apache-2.0
#include "Workspace.hpp"

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace opc::benchmarks {

namespace {

namespace fs = std::filesystem;

class Folder {
public:
    Folder() {
        std::string name = (fs::temp_directory_path() / "opcraft-benchmarks-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr)
            throw std::system_error(errno, std::generic_category(), name);
        path_ = name;
    }
    ~Folder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

} // namespace

fs::path workFile(const std::string& name) {
    static const Folder folder;
    return folder.path() / name;
}

} // namespace opc::benchmarks
