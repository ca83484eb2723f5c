// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Queue.hpp"
#include "opcraft/Tool.hpp"

#include <opc/errors/Errors.hpp>
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
    unsigned wait = 60; ///< seconds, for other processes that change the file
};

void throwIfThere(const NewOptions& options) {
    std::error_code ignored;
    if (!options.force && std::filesystem::exists(options.file, ignored))
        throw Failure(ExitCode::NotProcessed, options.file, "", "the file exists; --force replaces it");
}

void createFile(const NewOptions& options, std::chrono::milliseconds timeout) {
    opc::storage::ZipOptions zipOptions;
    zipOptions.lockTimeout = timeout;
    opc::storage::ZipPackage zip(std::filesystem::path(options.file), zipOptions);
    opc::model::Package package(zip);
    try {
        package.open(opc::interfaces::OpenMode::CreateOnly);
    } catch (const opc::model::PackageOpenFailed& e) {
        throwIfInUse(e, options.file);
        throw;
    }
    throwIfThere(options); // what comes later is never replaced
    package.close();
}

ExitCode createOnStandardOutput(Console& console) {
    std::vector<unsigned char> bytes;
    opc::storage::ZipPackage zip(bytes);
    opc::model::Package package(zip);
    package.open(opc::interfaces::OpenMode::CreateOnly);
    package.close();
    console.write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    return ExitCode::Fine;
}

ExitCode createNew(const NewOptions& options, Console& console) {
    if (options.file == "-")
        return createOnStandardOutput(console);
    throwIfThere(options);
    openInTurn(options.file, options.wait, console, [&](auto timeout) { createFile(options, timeout); });
    return ExitCode::Fine;
}

} // namespace

void addNewCommand(Tool& tool) {
    const auto options = std::make_shared<NewOptions>();
    CLI::App* command = addCommand(tool, "new", "Make an empty package",
                                   "The package is valid and has no parts; 'opcraft add' adds them.\n\n"
                                   "Example:\n  opcraft new letter.docx");
    command->add_option("FILE", options->file, "The file to make; - is the standard output")
        ->required()
        ->check(notEmpty());
    command->add_flag("--force", options->force, "Replace a file that exists")->disable_flag_override();
    addWaitOption(*command, options->wait);
    command->callback([&tool, options] {
        tool.action = {options->file, "", [options](Console& console) { return createNew(*options, console); }};
    });
}

} // namespace opcraft
