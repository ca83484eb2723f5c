// SPDX-License-Identifier: Apache-2.0
#include "storage/directory/DirectoryFiles.hpp"

#include "storage/Failure.hpp"
#include "storage/FileAccess.hpp"
#include "storage/LinuxCalls.hpp"
#include "storage/directory/DirectoryStream.hpp"
#include "storage/directory/FolderPaths.hpp"
#include "storage/items/ItemNames.hpp"
#include "storage/items/ReadLimits.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

namespace opc::storage {

namespace {

// Without O_NONBLOCK the open of a named pipe would block until a process writes to it.
constexpr int FILE_FLAGS = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

/// For all names together: a few long names of folders could make many long names of files.
constexpr std::uint64_t NAMES_SIZE = 32ULL * 1024 * 1024;
constexpr std::uint64_t NAME_SIZE = 128;

[[noreturn]] void failForChange(const std::string& label, const char* what) {
    fail(Errc::device_or_resource_busy, label + ": " + what);
}

/// What something is that is not read; null for a file or a folder.
const char* explainKind(mode_t mode) {
    switch (mode & S_IFMT) {
    case S_IFREG:
    case S_IFDIR:
        return nullptr;
    case S_IFLNK:
        return "a symbolic link";
    case S_IFIFO:
        return "a named pipe";
    case S_IFSOCK:
        return "a socket";
    default:
        return "a device";
    }
}

/// Lists all below a folder. It is at one folder at a time, with one descriptor, and goes back by "..", to a
/// folder that has to be the one it came from; so the depth costs neither descriptors nor stack.
class DirectoryWalk {
public:
    DirectoryWalk(int root, std::string label, const Limits& limits, const ZipFaults& faults)
        : label_(std::move(label)), limits_(limits), faults_(faults), here_(::openat(root, ".", FOLDER_FLAGS)) {
        if (!here_.isOpen())
            failWithErrno(errno, label_ + ": cannot be opened");
    }

    std::vector<DirectoryFile> list() {
        levels_.push_back({0, FileIdentity(statusOf(here_.get(), label_)), {}});
        readFolder();
        while (levels_.size() > 1 || !levels_.back().folders.empty())
            if (levels_.back().folders.empty())
                leave();
            else
                enter();
        const auto byName = [](const DirectoryFile& a, const DirectoryFile& b) { return a.name < b.name; };
        std::ranges::sort(files_, byName);
        return std::move(files_);
    }

private:
    struct Folder {
        std::string name; ///< in its own folder
        FileIdentity identity;
    };

    /// A folder on the way from the root to where the walk is.
    struct Level {
        std::size_t pathSize; ///< of the path to it
        FileIdentity identity;
        std::vector<Folder> folders; ///< in it, which were not entered yet
    };

    std::string labelOf(const std::string& path) const { return label_ + ": " + inQuotes(path); }
    std::string here() const { return path_.empty() ? label_ : labelOf(path_); }

    void readFolder() {
        DirectoryStream stream(here_.get(), here());
        while (const char* const name = stream.next())
            add(name);
    }

    void add(const char* name) {
        const std::string path = path_.empty() ? std::string(name) : path_ + '/' + name;
        count(path);
        struct stat status = {};
        if (::fstatat(here_.get(), name, &status, AT_SYMLINK_NOFOLLOW) != 0)
            failWithErrno(errno, labelOf(path) + ": cannot be read");
        if (const char* const kind = explainKind(status.st_mode))
            faults_.add({RuleId::ZipFileKind, path, kind});
        else if (S_ISDIR(status.st_mode))
            levels_.back().folders.push_back({name, FileIdentity(status)});
        else if (isUTF8(path))
            files_.push_back({path, FileIdentity(status), static_cast<std::uint64_t>(status.st_size)});
        else
            faults_.add({RuleId::ItemNameSyntax, path, "the name is not UTF-8"});
    }

    void count(const std::string& path) {
        limits_.checkItems(++count_, label_, "the folder");
        limits_.checkName(path, label_);
        namesSize_ += path.size();
        if (namesSize_ > NAMES_SIZE && namesSize_ / NAME_SIZE > limits_.get().items)
            fail(Errc::file_too_large,
                 label_ + ": the names of all items together have more than 32 MiB, and than 128 bytes for each item "
                          "(limit items)");
    }

    void enter() {
        const Folder folder = std::move(levels_.back().folders.back());
        levels_.back().folders.pop_back();
        const std::string path = path_.empty() ? folder.name : path_ + '/' + folder.name;
        goTo(folder.name.c_str(), folder.identity, path);
        path_ = path;
        levels_.push_back({path_.size(), folder.identity, {}});
        readFolder();
    }

    void leave() {
        levels_.pop_back();
        const std::string from = path_;
        path_.resize(levels_.back().pathSize);
        goTo("..", levels_.back().identity, from);
    }

    void goTo(const char* name, const FileIdentity& expected, const std::string& path) {
        FileDescriptor folder(::openat(here_.get(), name, FOLDER_FLAGS));
        if (!folder.isOpen() && errno != ENOTDIR && errno != ELOOP)
            failWithErrno(errno, labelOf(path) + ": cannot be opened");
        if (!folder.isOpen() || !FileIdentity(statusOf(folder.get(), labelOf(path))).isFileOf(expected))
            failForChange(labelOf(path), "another program moved the folder while it was read");
        here_ = std::move(folder);
    }

    std::string label_;
    ReadLimits limits_;
    const ZipFaults& faults_;
    FileDescriptor here_;
    std::string path_; ///< to where the walk is
    std::vector<Level> levels_;
    std::vector<DirectoryFile> files_;
    std::uint64_t count_ = 0;
    std::uint64_t namesSize_ = 0;
};

/// One file, held to the state in which it was listed.
class FileReader final : public ItemReader {
public:
    FileReader(FileDescriptor file, const DirectoryFile& listed, std::string label)
        : file_(std::move(file)), identity_(listed.identity), size_(listed.size), label_(std::move(label)) {
        throwIfChanged();
    }

    std::size_t read(unsigned char* buffer, std::size_t size) override {
        if (size == 0 || !file_.isOpen())
            return 0;
        const std::size_t count = readFileAt(file_.get(), offset_, buffer, size, label_);
        offset_ += count;
        if (count < size || offset_ >= size_) {
            throwIfChanged();
            if (offset_ != size_)
                failForChange(label_, CHANGED);
        }
        if (count == 0)
            file_ = FileDescriptor();
        return count;
    }

    static constexpr const char* CHANGED = "another program wrote to the file since the folder was opened";

private:
    void throwIfChanged() const {
        if (FileIdentity(statusOf(file_.get(), label_)) != identity_)
            failForChange(label_, CHANGED);
    }

    FileDescriptor file_;
    FileIdentity identity_;
    std::uint64_t size_;
    std::string label_;
    std::uint64_t offset_ = 0;
};

/// Opens a path at once, as newer kernels can: opening each component takes seconds for files far down.
FileDescriptor openAtOnce(int root, const std::string& path) {
    return FileDescriptor(linuxcalls::openWithoutLinks(root, path.c_str(), FILE_FLAGS));
}

/// Opens a path below a folder, no component of which is a symbolic link or "..".
FileDescriptor openBelow(int root, const std::string& name, const std::string& label) {
    if (FileDescriptor file = openAtOnce(root, name); file.isOpen())
        return file;
    std::string_view path = name;
    FileDescriptor folder;
    for (std::size_t slash = path.find('/');; slash = path.find('/')) {
        const std::string component(path.substr(0, slash));
        const int from = folder.isOpen() ? folder.get() : root;
        FileDescriptor next(::openat(from, component.c_str(), slash == path.npos ? FILE_FLAGS : FOLDER_FLAGS));
        if (!next.isOpen() && (errno == ELOOP || errno == ENOTDIR || errno == ENOENT || errno == ENXIO))
            failForChange(label, "another program removed or replaced the file since the folder was opened");
        if (!next.isOpen())
            failWithErrno(errno, label + ": cannot be opened");
        if (slash == path.npos)
            return next;
        folder = std::move(next);
        path.remove_prefix(slash + 1);
    }
}

} // namespace

DirectoryFiles::DirectoryFiles(const std::filesystem::path& folder, const Limits& limits, const ZipFaults& faults)
    : root_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (!root_.isOpen())
        failWithErrno(errno, folder.string() + ": cannot be opened");
    files_ = DirectoryWalk(root_.get(), folder.string(), limits, faults).list();
}

std::unique_ptr<ItemReader> DirectoryFiles::read(const DirectoryFile& file, const std::string& label) const {
    return std::make_unique<FileReader>(openBelow(root_.get(), file.name, label), file, label);
}

} // namespace opc::storage
