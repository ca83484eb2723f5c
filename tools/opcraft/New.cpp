// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Tool.hpp"

#include <opc/model/Package.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

namespace opcraft {

namespace {

struct NewOptions {
    std::string file;
    bool force = false;
};

void createEmpty(opc::storage::ZipPackage& zip) {
    opc::model::Package package(zip);
    package.open(opc::interfaces::OpenMode::CreateOnly);
    package.close();
}

ExitCode createOnStandardOutput(Console& console) {
    std::vector<unsigned char> bytes;
    opc::storage::ZipPackage zip(bytes);
    createEmpty(zip);
    console.write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    return ExitCode::Fine;
}

ExitCode createNew(const NewOptions& options, Console& console) {
    if (options.file == "-")
        return createOnStandardOutput(console);
    std::error_code ignored;
    if (!options.force && std::filesystem::exists(options.file, ignored))
        throw Failure(ExitCode::NotProcessed, options.file, "", "the file exists; --force replaces it");
    opc::storage::ZipPackage zip{std::filesystem::path(options.file)};
    createEmpty(zip);
    return ExitCode::Fine;
}

} // namespace

void addNewCommand(Tool& tool) {
    const auto options = std::make_shared<NewOptions>();
    CLI::App* command = addCommand(tool, "new", "Make an empty package",
                                   "The package is valid and has no parts; 'opcraft add' adds them.\n\n"
                                   "Example:\n  opcraft new letter.docx");
    command->add_option("FILE", options->file, "The file to make; - is the standard output")->required();
    command->add_flag("--force", options->force, "Replace a file that exists")->disable_flag_override();
    command->callback([&tool, options] {
        tool.action = {options->file, "", [options](Console& console) { return createNew(*options, console); }};
    });
}

} // namespace opcraft
