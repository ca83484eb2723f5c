// SPDX-License-Identifier: Apache-2.0
#include "opcraft/OpenPackage.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <filesystem>
#include <system_error>
#include <vector>

namespace opcraft {

namespace {

struct NewOptions : CommandOptions {
    bool force = false;
    unsigned wait = 60; ///< seconds, for other processes that change the file
};

void throwIfExists(const NewOptions& options) {
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
    throwIfExists(options); // a file that was created meanwhile is not replaced either
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
    throwIfExists(options);
    openWhenFree(options.file, options.wait, console, [&](auto timeout) { createFile(options, timeout); });
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, NewOptions& options) {
    command.add_option("FILE", options.file, "The file to make; - is the standard output")
        ->required()
        ->check(notEmpty());
    addFlag(command, "--force", options.force, "Replace a file that exists");
    addWaitOption(command, options.wait);
}

} // namespace

void addNewCommand(Tool& tool) {
    addCommand<NewOptions>(tool, {"new", "Make an empty package",
                                  "The package is valid and has no parts; 'opcraft add' adds them.\n\n"
                                  "Example:\n  opcraft new letter.docx",
                                  addOptions, createNew});
}

} // namespace opcraft
