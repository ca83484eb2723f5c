// SPDX-License-Identifier: Apache-2.0
#include "opcraft/FileInput.hpp"
#include "opcraft/ImageType.hpp"
#include "opcraft/NewFile.hpp"
#include "opcraft/PackageChange.hpp"
#include "opcraft/PartBytes.hpp"
#include "opcraft/Thumbnails.hpp"

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

namespace opcraft {

namespace {

struct ThumbnailOptions : ReadOrChangeOptions {
    std::optional<std::string> extract;
    std::optional<std::string> set;
    bool remove = false;
};

ExitCode show(const ThumbnailOptions& options, Console& console) {
    OpenPackage package(options);
    const std::vector<ThumbnailEntry> thumbnails = findThumbnails(package);
    console.write(options.json ? toJsonText(toJson(thumbnails, options.file)) : toText(thumbnails));
    return ExitCode::Fine;
}

/// The first thumbnail that is there.
opc::model::Part findFirst(OpenPackage& package) {
    const std::vector<ThumbnailEntry> thumbnails = findThumbnails(package);
    const auto found = std::find_if(thumbnails.begin(), thumbnails.end(),
                                    [](const ThumbnailEntry& entry) { return entry.part.has_value(); });
    if (found != thumbnails.end())
        return *found->part;
    if (thumbnails.empty())
        throw Failure(ExitCode::NotProcessed, package.getName(), "", "the package has no thumbnail");
    throw Failure(ExitCode::NotProcessed, package.getName(), thumbnails.front().target,
                  "the thumbnail relationship \"" + thumbnails.front().id + "\" leads here, and this is no part");
}

void copyTo(const std::string& output, const opc::model::Part& part, Console& console) {
    if (output == "-")
        return forEachBlock(part, [&](const unsigned char* data, std::size_t size) {
            console.write({reinterpret_cast<const char*>(data), size});
        });
    NewFile file(output);
    forEachBlock(part, [&](const unsigned char* data, std::size_t size) { file.write(data, size); });
    file.keep();
}

ExitCode extract(const ThumbnailOptions& options, Console& console) {
    OpenPackage package(options);
    const opc::model::Part part = findFirst(package);
    try {
        copyTo(*options.extract, part, console);
    } catch (const opc::Exception& e) {
        throw readFailure(e, options.file, part);
    }
    return ExitCode::Fine;
}

ExitCode set(const ThumbnailOptions& options, Console& console) {
    if (options.file == "-" && options.set == "-")
        throw Failure(ExitCode::WrongUsage, "-", "", "FILE and --set cannot both be the standard input");
    PackageChange change(options, console);
    setThumbnail(change.getPackage(), *options.set, FileInput(*options.set).readAll());
    change.save(console);
    return ExitCode::Fine;
}

ExitCode remove(const ThumbnailOptions& options, Console& console) {
    PackageChange change(options, console);
    const bool isChanged = removeThumbnails(change.getPackage());
    change.save(console, isChanged);
    return ExitCode::Fine;
}

ExitCode thumbnail(const ThumbnailOptions& options, Console& console) {
    for (const auto& file : {options.set, options.extract})
        if (file && file->empty())
            throw Failure(ExitCode::WrongUsage, "\"\"", "", "this names no file");
    if (options.remove)
        return remove(options, console);
    if (options.set)
        return set(options, console);
    if (!options.output.empty())
        throw Failure(ExitCode::WrongUsage, "", "", "-o needs --set or --remove");
    return options.extract ? extract(options, console) : show(options, console);
}

/// An option with the name of a file, which may also be given as an empty text, by mistake.
CLI::Option* addFileOption(CLI::App& command, const std::string& name, std::optional<std::string>& file,
                           const std::string& description) {
    return command.add_option_function<std::string>(
        name, [&file](const std::string& text) { file = text; }, description);
}

} // namespace

void addThumbnailCommand(Tool& tool) {
    const auto options = std::make_shared<ThumbnailOptions>();
    CLI::App* command = addCommand(
        tool, "thumbnail", "Show the thumbnail of a package, take it out, or change it",
        std::string("Without --extract, --set and --remove, the thumbnails are listed: the relationships of the\n"
                    "package that lead to one, of which most packages have one at most. --extract takes the first\n"
                    "one that is there.\n\n"
                    "The content type of a new thumbnail is told from the image's own bytes, which may be\n") +
            IMAGE_TYPE_NAMES +
            ".\nAn old thumbnail goes with its part, unless another relationship leads to that part.\n\n"
            "Examples:\n"
            "  opcraft thumbnail letter.docx\n"
            "  opcraft thumbnail letter.docx --extract letter.jpeg\n"
            "  opcraft thumbnail letter.docx --set cover.png");
    CLI::Option* json = addReadOrChangeOptions(*command, *options);
    CLI::Option* extractOption = addFileOption(*command, "--extract", options->extract,
                                               "Copy the image into a new file; - is the standard output");
    extractOption->type_name("FILE");
    CLI::Option* setOption =
        addFileOption(*command, "--set", options->set, "Make this image the only thumbnail; - is the standard input");
    setOption->type_name("IMAGE");
    CLI::Option* removeOption =
        command->add_flag("--remove", options->remove, "Remove all thumbnails")->disable_flag_override();
    json->excludes(extractOption)->excludes(setOption)->excludes(removeOption);
    extractOption->excludes(setOption)->excludes(removeOption);
    setOption->excludes(removeOption);
    command->callback([&tool, options] {
        tool.action = {options->file, "", [options](Console& console) { return thumbnail(*options, console); }};
    });
}

} // namespace opcraft
