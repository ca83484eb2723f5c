// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/core/Exception.hpp>
#include <opc/storage/Packing.hpp>

#include <string>
#include <vector>

namespace opcraft {

namespace {

struct PackOptions : ReadOptions {
    std::string folder{};
    bool otherItems = false;
    bool force = false;
};

struct PackReport {
    std::string file;
    std::string folder;
    opc::storage::PackingResult result;
};

/// An error of the file or the folder, whichever the message starts with.
Failure packFailure(const opc::Exception& error, const PackOptions& options) {
    namespace errc = boost::system::errc;
    const std::string message = error.what();
    const bool isOfFile = message.starts_with(options.file + ": ");
    if (isOfFile && error.code() == errc::file_exists)
        return {ExitCode::NotProcessed, options.file, "", "the file exists; --force replaces it"};
    const Failure failure = toFailure(error, isOfFile ? options.file : options.folder, "");
    if (error.code() != errc::not_supported)
        return failure;
    return {ExitCode::NotProcessed, options.folder, "",
            failure.what() + std::string("; --other-items packs all files")};
}

opc::storage::PackingResult packFolder(const PackOptions& options, Console& console) {
    opc::storage::PackingOptions how;
    how.limits = options.limits;
    how.otherItems = options.otherItems;
    how.replaces = options.force;
    if (options.file != "-")
        return opc::storage::pack(options.folder, std::filesystem::path(options.file), how);
    std::vector<unsigned char> bytes;
    const opc::storage::PackingResult result = opc::storage::pack(options.folder, bytes, how);
    console.write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    return result;
}

std::string toText(const PackReport& report) {
    return countText(report.result.items, "item") + ", " + sizeText(report.result.size) + '\n';
}

Json toJson(const PackReport& report) {
    Json json = makeJsonReport("pack", report.file);
    json["folder"] = report.folder;
    json["items"] = report.result.items;
    json["size"] = report.result.size;
    return json;
}

ExitCode pack(const PackOptions& options, Console& console) {
    if (options.file == "-" && options.json)
        throw wrongArgument("-", "the standard output cannot have both the package and JSON");
    PackReport report{options.file, options.folder, {}};
    try {
        report.result = packFolder(options, console);
    } catch (const opc::Exception& e) {
        throw packFailure(e, options);
    }
    if (options.file != "-")
        console.write(options.json ? toJsonText(toJson(report)) : toText(report), "; the package itself was written");
    return ExitCode::Fine;
}

void addOptions(CLI::App& command, PackOptions& options) {
    command.add_option("DIR", options.folder, "The folder with the files")->required()->check(notEmpty());
    addReadOptions(command, options, "The file to make; - is the standard output");
    addFlag(command, "--other-items", options.otherItems, "Also files that are not parts");
    addFlag(command, "--force", options.force, "Replace a file that exists");
}

} // namespace

void addPackCommand(Tool& tool) {
    addCommand<PackOptions>(
        tool, {"pack", "Put a package together: make it of the files below a folder",
               "Each file becomes an item with its path in DIR as name, so that this undoes 'opcraft extract'. Hidden\n"
               "files count; links, devices and other things that are no files are refused. A file that\n"
               "\"[Content_Types].xml\" gives no content type, or whose name is no part name, needs --other-items.\n"
               "The content types come first, then the relationships of the package and the main part, then all\n"
               "others by name. The same files give the same package, whatever their times.\n"
               "'opcraft lint' tells of a folder, too, what is wrong in it.\n\n"
               "Example:\n  opcraft pack letter letter.docx",
               addOptions, pack});
}

} // namespace opcraft
