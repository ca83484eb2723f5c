// SPDX-License-Identifier: Apache-2.0
#include "opcraft/FileInput.hpp"
#include "opcraft/Names.hpp"
#include "opcraft/PackageChange.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/commands/Commands.hpp"

#include <opc/core/OutputStream.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/ImageType.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace opcraft {

namespace {

using opc::model::ImageType;
using opc::model::PackageHelper;
using opc::model::Part;
using opc::model::URI;

struct ThumbnailOptions : ReadOrChangeOptions {
    std::optional<std::string> extract{};
    std::optional<std::string> set{};
    bool remove = false;
};

/// A thumbnail relationship of the package, and the part it leads to.
struct ThumbnailEntry {
    std::string id;
    std::string target;
    bool isExternal = false;
    std::optional<opc::model::Part> part; ///< none when the relationship leads to no part that exists
    std::uint64_t size = 0;               ///< of the part, in bytes
};

/// A new file. It replaces no file that exists, and has no name until it is kept where the file system can do that, so
/// that a process that is killed leaves nothing of it.
class NewFile {
public:
    /// @throws Failure naming the file when it exists or cannot be created.
    explicit NewFile(std::string name);
    ~NewFile();

    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// @throws Failure naming the file when it cannot be written; so does `keep`.
    void write(const unsigned char* data, std::size_t size);
    /// Syncs and closes the file, and gives it its name.
    void keep();

private:
    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }
    [[noreturn]] void fail(int number) const;

    std::string name_;
    int descriptor_;
    bool isNamed_ = false;
    bool isKept_ = false;
};

NewFile::NewFile(std::string name) : name_(std::move(name)) {
    std::error_code error;
    if (std::filesystem::exists(std::filesystem::symlink_status(name_, error)))
        fail(EEXIST);
    const std::filesystem::path folder = std::filesystem::path(name_).parent_path();
    descriptor_ = ::open(folder.empty() ? "." : folder.c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, 0666);
    if (descriptor_ >= 0 && ::access(path().c_str(), F_OK) == 0)
        return;
    if (descriptor_ >= 0)
        ::close(descriptor_);
    descriptor_ = ::open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (descriptor_ < 0)
        fail(errno);
    isNamed_ = true;
}

NewFile::~NewFile() {
    ::close(descriptor_);
    if (isNamed_ && !isKept_)
        ::unlink(name_.c_str());
}

void NewFile::write(const unsigned char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t count = ::write(descriptor_, data, size);
        if (count < 0 && errno != EINTR)
            fail(errno);
        if (count > 0) {
            data += count;
            size -= static_cast<std::size_t>(count);
        }
    }
}

void NewFile::keep() {
    if (::fsync(descriptor_) != 0 ||
        (!isNamed_ && ::linkat(AT_FDCWD, path().c_str(), AT_FDCWD, name_.c_str(), AT_SYMLINK_FOLLOW) != 0))
        fail(errno);
    isKept_ = true;
}

void NewFile::fail(int number) const {
    if (number == EEXIST)
        throw Failure(ExitCode::NotProcessed, name_, "", "the file exists, and is not replaced");
    throw Failure(ExitCode::NotProcessed, name_, "", "cannot be written: " + systemReason(number));
}

std::string nameOf(const ThumbnailEntry& entry) {
    if (entry.part)
        return toUtf8(entry.part->getName().toString());
    return entry.target + (entry.isExternal ? " (external)" : " (missing)");
}

std::string contentTypeOf(const Part& part) {
    return toUtf8(part.getContentType().toString());
}

/// "/metadata/thumbnail.png", then "/metadata/thumbnail.2.png" and so on.
/// The names of all kinds, for a sentence.
std::string imageTypeNames() {
    std::string names;
    for (const ImageType& type : opc::model::getImageTypes())
        names += (names.empty() ? "" : ", ") + std::string(type.name);
    return names;
}

URI nameFor(const ImageType& type, std::size_t number) {
    const std::u16string prefix = number == 1 ? u"" : toUtf16(std::to_string(number) + '.');
    return PackageHelper::getThumbnailURI(prefix + type.extension);
}

/// A name may be in use by a part, by an item that is not a part, and by a part whose name continues it with "/".
Part createThumbnail(OpenPackage& package, const ImageType& type, std::size_t size) {
    const opc::model::StandardPartInfo info(type.compression, size);
    const std::size_t last = package.getInput().getStore().getItems().size() + 1;
    for (std::size_t number = 1; number < last; ++number)
        try {
            return package.getModel().createPart(nameFor(type, number), type.contentType, info);
        } catch (const opc::model::PartAlreadyExists&) { // NOLINT(bugprone-empty-catch): try the next name
        } catch (const opc::model::PartIsDerivedFromExistingPartName&) { // NOLINT(bugprone-empty-catch)
        } catch (const opc::model::PartCreateFailed&) {                  // NOLINT(bugprone-empty-catch)
        }
    return package.getModel().createPart(nameFor(type, last), type.contentType, info);
}

/// In the order in which people count IDs. Two of them may lead to one part.
std::vector<ThumbnailEntry> findThumbnails(OpenPackage& package) {
    const std::string type = toUtf8(PackageHelper::getThumbnailRelationshipType());
    std::vector<ThumbnailEntry> thumbnails;
    std::map<opc::model::PartName, std::vector<std::size_t>> byPart;
    for (const RelationshipEntry& each : entriesOf(package.getModel(), package.getPartKeys())) {
        if (each.type != type)
            continue;
        const auto relationship = package.getModel().getRelationshipByID(opc::toString(each.id));
        thumbnails.push_back({each.id, each.target, each.isExternal, findTarget(package, relationship)});
        if (const auto& part = thumbnails.back().part)
            byPart[part->getName()].push_back(thumbnails.size() - 1);
    }
    if (!byPart.empty())
        for (const opc::storage::ZipItem& item : package.getInput().getStore().getItems())
            if (item.kind == opc::storage::ZipItemKind::Part)
                for (const std::size_t each : byPart[item.partName])
                    thumbnails[each].size = item.size;
    return thumbnails;
}

std::string toText(const std::vector<ThumbnailEntry>& thumbnails) {
    if (thumbnails.empty())
        return "No thumbnail.\n";
    Table table({{"ID"}, {"SIZE", Table::Align::Right}, {"NAME"}, {"TYPE"}});
    for (const ThumbnailEntry& entry : thumbnails)
        table.addRow({entry.id, entry.part ? std::to_string(entry.size) : "-", nameOf(entry),
                      entry.part ? contentTypeOf(*entry.part) : "-"});
    return table.toString();
}

Json toJson(const std::vector<ThumbnailEntry>& thumbnails, const std::string& file, std::size_t findings) {
    Json json = makeJsonReport("thumbnail", file, findings);
    json["thumbnails"] = toJsonArray(thumbnails, [](const ThumbnailEntry& entry) {
        return Json{{"id", entry.id},
                    {"target", entry.target},
                    {"mode", entry.isExternal ? "external" : "internal"},
                    {"part", entry.part ? Json(nameOf(entry)) : Json()},
                    {"contentType", entry.part ? Json(contentTypeOf(*entry.part)) : Json()},
                    {"size", entry.part ? Json(entry.size) : Json()}};
    });
    return json;
}

/// Removes every thumbnail relationship of the package, and each part that no other relationship leads to.
Removal removeThumbnails(OpenPackage& package) {
    return removeWithTargets(package, {PackageHelper::getThumbnailRelationshipType()});
}

/// Replaces all thumbnails of the package. The name of the new part is the usual one, or one like it that is free.
/// @throws Failure when the bytes are not an image of a known type.
Removal setThumbnail(OpenPackage& package, const std::string& imageName, const std::vector<unsigned char>& image) {
    const ImageType* type = opc::model::findImageType(image);
    if (type == nullptr)
        throw Failure(ExitCode::NotProcessed, imageName, "",
                      "not an image of a known kind, which are " + imageTypeNames());
    const Removal removal = removeThumbnails(package);
    const Part part = createThumbnail(package, *type, image.size());
    opc::OutputStream& stream = *part.getOutputStream();
    stream.write(image.data(), image.size());
    stream.close();
    package.getModel().createInternalRelationship(PackageHelper::getThumbnailRelationshipType(),
                                                  part.getName().getURI());
    return removal;
}

ExitCode show(const ThumbnailOptions& options, Console& console) {
    OpenPackage package(options.forReading());
    const std::vector<ThumbnailEntry> thumbnails = findThumbnails(package);
    const std::size_t findings = package.getFindings().getAll().size();
    console.write(options.json ? toJsonText(toJson(thumbnails, options.file, findings)) : toText(thumbnails));
    package.getFindings().note(console, options.file);
    return ExitCode::Fine;
}

/// The first thumbnail that exists.
Part findFirst(OpenPackage& package) {
    const std::vector<ThumbnailEntry> thumbnails = findThumbnails(package);
    const auto found = std::find_if(thumbnails.begin(), thumbnails.end(),
                                    [](const ThumbnailEntry& entry) { return entry.part.has_value(); });
    if (found != thumbnails.end())
        return *found->part;
    if (thumbnails.empty())
        throw Failure(ExitCode::NotProcessed, package.getName(), "", "the package has no thumbnail");
    throw Failure(ExitCode::NotProcessed, package.getName(), thumbnails.front().target,
                  "the thumbnail relationship \"" + thumbnails.front().id + "\" leads here, which is not a part");
}

void copyTo(const std::string& output, const Part& part, Console& console) {
    if (output == "-")
        return forEachBlock(part, [&](const unsigned char* data, std::size_t size) {
            console.write({reinterpret_cast<const char*>(data), size});
        });
    NewFile file(output);
    forEachBlock(part, [&](const unsigned char* data, std::size_t size) { file.write(data, size); });
    file.keep();
}

ExitCode extract(const ThumbnailOptions& options, Console& console) {
    OpenPackage package(options.forReading());
    const Part part = findFirst(package);
    if (opc::caselessCompare(part.getContentType().getType(), u"image") != 0)
        throw Failure(ExitCode::NotProcessed, options.file, toUtf8(part.getName().toString()),
                      "the thumbnail is no image, but " + contentTypeOf(part) + "; 'opcraft cat' shows it");
    try {
        copyTo(*options.extract, part, console);
    } catch (const opc::Exception& e) {
        throw readFailure(e, options.file, part);
    }
    package.getFindings().note(console, options.file);
    return ExitCode::Fine;
}

ExitCode set(const ThumbnailOptions& options, Console& console) {
    if (options.file == "-" && options.set == "-")
        throw Failure(ExitCode::WrongUsage, "-", "", "FILE and --set cannot both be the standard input");
    PackageChange change(options, console);
    const Removal removal = setThumbnail(change.getPackage(), *options.set, FileInput(*options.set).readAll());
    change.save(console);
    noteKept(removal, options.file, console);
    return ExitCode::Fine;
}

ExitCode remove(const ThumbnailOptions& options, Console& console) {
    PackageChange change(options, console);
    const Removal removal = removeThumbnails(change.getPackage());
    change.save(console, removal.isChanged);
    noteKept(removal, options.file, console);
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

/// An option with the name of a file. An empty name is not the same as no option.
CLI::Option* addFileOption(CLI::App& command, const std::string& name, std::optional<std::string>& file,
                           const std::string& description, const std::string& valueName) {
    const auto take = [&file](const std::string& text) { file = text; };
    return command.add_option_function<std::string>(name, take, description)->type_name(valueName);
}

void addOptions(CLI::App& command, ThumbnailOptions& options) {
    const std::vector<CLI::Option*> reading = addReadOrChangeOptions(command, options);
    CLI::Option* extractOption = addFileOption(command, "--extract", options.extract,
                                               "Copy the image into a new file; - is the standard output", "FILE");
    CLI::Option* setOption = addFileOption(command, "--set", options.set,
                                           "Make this image the only thumbnail; - is the standard input", "IMAGE");
    CLI::Option* removeOption = addFlag(command, "--remove", options.remove, "Remove all thumbnails");
    reading.front()->excludes(extractOption);
    for (CLI::Option* each : reading)
        each->excludes(setOption)->excludes(removeOption);
    extractOption->excludes(setOption)->excludes(removeOption);
    setOption->excludes(removeOption);
}

std::string help() {
    return std::string("Without --extract, --set and --remove, the thumbnails are listed: the relationships of the\n"
                       "package that lead to one, of which most packages have one at most. --extract takes the first\n"
                       "one that is there.\n\n"
                       "The content type of a new thumbnail is told from the image's own bytes, which may be\n") +
           imageTypeNames() +
           ".\nAn old thumbnail goes with its part, unless another relationship leads to that part.\n\n"
           "Examples:\n"
           "  opcraft thumbnail letter.docx\n"
           "  opcraft thumbnail letter.docx --extract letter.jpeg\n"
           "  opcraft thumbnail letter.docx --set cover.png";
}

} // namespace

void addThumbnailCommand(Tool& tool) {
    addCommand<ThumbnailOptions>(tool, {"thumbnail", "Show the thumbnail of a package, take it out, or change it",
                                        help(), addOptions, thumbnail});
}

} // namespace opcraft
