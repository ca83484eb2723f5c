// SPDX-License-Identifier: Apache-2.0
#include "storage/directory/OutputFolder.hpp"

#include "storage/Failure.hpp"
#include "storage/FileAccess.hpp"
#include "storage/FileAttributes.hpp"
#include "storage/LinuxCalls.hpp"
#include "storage/directory/DirectoryStream.hpp"
#include "storage/directory/FolderPaths.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <random>

namespace opc::storage {

namespace {

constexpr int NEW_FILE_FLAGS = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
constexpr int MAXIMUM_NAMES = 100;

[[noreturn]] void refuse(Errc code, const std::string& reason) {
    throw NameRefused(reason, make_error_code(code));
}

/// For an error of a call with a name.
[[noreturn]] void refuseOrFail(int number, const std::string& label) {
    switch (number) {
    case ENAMETOOLONG:
    case EINVAL:
    case EILSEQ:
        refuse(Errc::invalid_argument,
               "the file system has no such names: " +
                   boost::system::error_code(number, boost::system::generic_category()).message());
    case EEXIST:
        refuse(Errc::file_exists, "something of this name exists already");
    case ELOOP:
    case ENOTDIR:
    case EISDIR:
        refuse(Errc::file_exists, "a file, a link or a device is where a folder is needed");
    default:
        failWithErrno(number, label + ": cannot be written");
    }
}

std::string makeTemporaryName() {
    static constexpr std::string_view DIGITS = "0123456789abcdefghijklmnopqrstuvwxyz";
    std::random_device random;
    std::string name = ".";
    for (int i = 0; i < 12; ++i)
        name += DIGITS[random() % DIGITS.size()];
    return name + ".opcraft-tmp";
}

} // namespace

OutputFile::~OutputFile() {
    struct stat status = {};
    if (identity_ && !name_.empty() &&
        ::fstatat(place_.folder->get(), name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        identity_->isFileOf(FileIdentity(status)))
        ::unlinkat(place_.folder->get(), name_.c_str(), 0);
}

/// A process that is killed leaves nothing of a file that has no name yet.
int OutputFile::open(const FileDescriptor& old) {
    isReplacement_ = old.isOpen();
    const mode_t mode = isReplacement_ ? 0600 : 0666;
    file_ = FileDescriptor(linuxcalls::openUnnamed(place_.folder->get(), ".", mode));
    int error = file_.isOpen() && ::access(linuxcalls::pathOf(file_.get()).c_str(), F_OK) == 0 ? 0 : EEXIST;
    for (int i = 0; i < (isReplacement_ ? MAXIMUM_NAMES : 1) && error == EEXIST; ++i)
        error = open(nextName(), mode);
    if (error != 0)
        return error;
    identity_.emplace(statusOf(file_.get(), place_.label));
    if (isReplacement_)
        keepRightsOf(old);
    return 0;
}

/// One file replaces another from a name of its own.
std::string OutputFile::nextName() const {
    return isReplacement_ ? makeTemporaryName() : place_.name;
}

int OutputFile::open(std::string name, mode_t mode) {
    file_ = FileDescriptor(::openat(place_.folder->get(), name.c_str(), NEW_FILE_FLAGS, mode));
    if (!file_.isOpen())
        return errno;
    name_ = std::move(name);
    return 0;
}

/// Whoever made the package does not choose what runs with the rights of another user.
void OutputFile::keepRightsOf(const FileDescriptor& old) const {
    const struct stat status = statusOf(old.get(), place_.label);
    keepRights({status.st_uid, status.st_gid, status.st_mode & 0777}, linuxcalls::pathOf(old.get()), file_.get(),
               place_.label);
}

void OutputFile::write(const unsigned char* data, std::size_t size) {
    writeFileAt(file_.get(), position_, data, size, place_.label);
    position_ += size;
}

/// Gives a name to a file that has none.
void OutputFile::name() {
    const std::string path = linuxcalls::pathOf(file_.get());
    for (int i = 0; name_.empty(); ++i) {
        std::string name = nextName();
        if (::linkat(AT_FDCWD, path.c_str(), place_.folder->get(), name.c_str(), AT_SYMLINK_FOLLOW) == 0)
            name_ = std::move(name);
        else if (errno != EEXIST || !isReplacement_ || i == MAXIMUM_NAMES)
            refuseOrFail(errno, place_.label);
    }
}

void OutputFile::commit() {
    if (name_.empty())
        name();
    // Some file systems tell only here that a disk is full.
    if (file_.close() != 0)
        failWithErrno(errno, place_.label + ": cannot be written");
    const int folder = place_.folder->get();
    if (name_ != place_.name && ::renameat(folder, name_.c_str(), folder, place_.name.c_str()) != 0)
        failWithErrno(errno, place_.label + ": cannot be replaced");
    name_.clear();
}

OutputFolder::OutputFolder(const std::filesystem::path& folder, bool replaces)
    : label_(folder.string()), replaces_(replaces) {
    FileDescriptor root(::open(folder.c_str(), FOLDER_FLAGS & ~O_NOFOLLOW));
    if (!root.isOpen() && errno == ENOENT) {
        if (::mkdir(folder.c_str(), 0777) != 0)
            failWithErrno(errno, label_ + ": cannot be created");
        root = FileDescriptor(::open(folder.c_str(), FOLDER_FLAGS));
    }
    if (!root.isOpen())
        failWithErrno(errno, label_ + ": cannot be opened");
    root_ = folder_ = std::make_shared<FileDescriptor>(std::move(root));
    if (!replaces_)
        throwUnlessEmpty();
}

void OutputFolder::throwUnlessEmpty() const {
    if (DirectoryStream(root_->get(), label_).next())
        fail(Errc::directory_not_empty, label_ + ": the folder is not empty");
}

std::string OutputFolder::labelOf(std::string_view path) const {
    return label_ + ": " + inQuotes(path);
}

void OutputFolder::addMade(const struct stat& status) {
    met_.emplace(status.st_dev, status.st_ino);
}

/// For something that has the name of what was to be made.
void OutputFolder::throwUnlessUsable(const struct stat& status) const {
    if (met_.contains({status.st_dev, status.st_ino}))
        refuse(Errc::file_exists, "the file system takes the name for that of another item");
    if (!replaces_)
        refuse(Errc::file_exists, "something of this name exists already");
}

OutputFolder::Descriptor OutputFolder::openFolder(const FileDescriptor& from, const std::string& name,
                                                  std::string_view path) const {
    auto folder = std::make_shared<FileDescriptor>(::openat(from.get(), name.c_str(), FOLDER_FLAGS));
    if (!folder->isOpen())
        refuseOrFail(errno, labelOf(path));
    return folder;
}

/// Makes a folder that was not met yet, or uses one that exists.
OutputFolder::Descriptor OutputFolder::makeFolder(const FileDescriptor& from, const std::string& name,
                                                  std::string_view path) {
    const bool isNew = ::mkdirat(from.get(), name.c_str(), 0777) == 0;
    if (!isNew && errno != EEXIST)
        refuseOrFail(errno, labelOf(path));
    Descriptor folder = openFolder(from, name, path);
    const struct stat status = statusOf(folder->get(), labelOf(path));
    if (!isNew)
        throwUnlessUsable(status);
    addMade(status);
    return folder;
}

/// Opens the folders of a path one after the other, from the last one on that was used.
/// @param known how many bytes of the path are those of folders that were made; the others are made.
/// @return how many were made.
std::size_t OutputFolder::goTo(std::string_view path, std::size_t known) {
    if (commonFolders(path_, path) < path_.size()) {
        path_.clear();
        folder_ = root_;
    }
    std::size_t count = 0;
    while (path_.size() < path.size()) {
        const std::size_t start = path_.empty() ? 0 : path_.size() + 1;
        const std::string_view next = path.substr(0, path.find('/', start));
        const std::string name(next.substr(start));
        if (next.size() > known)
            ++count;
        folder_ = next.size() > known ? makeFolder(*folder_, name, next) : openFolder(*folder_, name, next);
        path_ = next;
    }
    return count;
}

std::size_t OutputFolder::makeFolder(std::string_view path) {
    const std::lock_guard lock(mutex_);
    return goTo(path, commonFolders(path_, path));
}

std::unique_ptr<OutputFile> OutputFolder::create(std::string_view path) {
    // All that needs memory is done before there is a file.
    auto file = std::make_unique<OutputFile>(
        OutputFile::Place{findFolder(folderOf(path)), std::string(path.substr(path.rfind('/') + 1)), labelOf(path)});
    if (const int error = file->open(findReplaceable(file->getPlace())); error != 0)
        refuseOrFail(error, file->getPlace().label);
    const struct stat status = statusOf(file->getDescriptor(), file->getPlace().label);
    const std::lock_guard lock(mutex_);
    addMade(status);
    return file;
}

OutputFolder::Descriptor OutputFolder::findFolder(std::string_view path) {
    const std::lock_guard lock(mutex_);
    goTo(path, path.size());
    return folder_;
}

/// @return what is not open where nothing has the name.
FileDescriptor OutputFolder::findReplaceable(const OutputFile::Place& place) {
    FileDescriptor old(linuxcalls::openHandle(place.folder->get(), place.name.c_str()));
    if (!old.isOpen() && errno == ENOENT)
        return old;
    if (!old.isOpen())
        refuseOrFail(errno, place.label);
    const struct stat status = statusOf(old.get(), place.label);
    const std::lock_guard lock(mutex_);
    throwUnlessUsable(status);
    if (!S_ISREG(status.st_mode))
        refuse(Errc::file_exists, "a folder, a link or a device of this name exists");
    return old;
}

} // namespace opc::storage
