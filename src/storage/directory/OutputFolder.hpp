// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/FileDescriptor.hpp"
#include "storage/FileIdentity.hpp"

#include <opc/core/Exception.hpp>

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

struct stat;

namespace opc::storage {

/// A file that cannot be made because of its name, or of what is in its place; others can. The message is the reason
/// alone.
class NameRefused : public Exception {
public:
    using Exception::Exception;
};

/// A new file, which is removed unless it is committed.
class OutputFile {
public:
    struct Place {
        std::shared_ptr<const FileDescriptor> folder;
        std::string name;  ///< in the folder
        std::string label; ///< starts the messages
    };

    explicit OutputFile(Place place) : place_(std::move(place)) {}
    ~OutputFile();

    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Makes the file, without a name where the file system has such files.
    /// @param old that it replaces, and whose rights it gets; not open when there is none.
    /// @return 0, or the number of the error.
    /// @throws opc::Exception the rights cannot be kept.
    int open(const FileDescriptor& old);

    const Place& getPlace() const { return place_; }
    int getDescriptor() const { return file_.get(); }

    /// @throws opc::Exception what the system reports.
    void write(const unsigned char* data, std::size_t size);

    /// Gives the file its name.
    /// @throws NameRefused, opc::Exception what the system reports; the file is removed then.
    void commit();

private:
    int open(std::string name, mode_t mode);
    std::string nextName() const;
    void keepRightsOf(const FileDescriptor& old) const;
    void name();

    Place place_;
    FileDescriptor file_;
    std::string name_; ///< that the file has now; empty: none, so that there is nothing to remove
    std::optional<FileIdentity> identity_{};
    bool isReplacement_ = false;
    std::uint64_t position_ = 0;
};

/// A folder below which files are made, and nowhere else: each folder on the way is opened by itself, and no symbolic
/// link is followed.
class OutputFolder {
public:
    /// @param folder is created when it is missing.
    /// @param replaces whether it need not be empty, and files in it are replaced.
    /// @throws opc::Exception as `extract` says.
    OutputFolder(const std::filesystem::path& folder, bool replaces);

    /// Starts the messages.
    const std::string& getLabel() const { return label_; }

    /// Makes a folder, with those that it is in. Called with paths in the order of their bytes.
    /// @param path with slashes; empty: the folder itself.
    /// @return how many folders were made, or existed and were not used before.
    /// @throws NameRefused, opc::Exception what the system reports.
    std::size_t makeFolder(std::string_view path);

    /// Makes a file in a folder that is there. May be called by several threads at the same time.
    /// @throws NameRefused, opc::Exception what the system reports.
    std::unique_ptr<OutputFile> create(std::string_view path);

private:
    using Descriptor = std::shared_ptr<const FileDescriptor>;
    using Identity = std::pair<dev_t, ino_t>;

    void throwUnlessEmpty() const;
    void throwUnlessUsable(const struct stat& status) const;
    FileDescriptor findReplaceable(const OutputFile::Place& place);
    Descriptor openFolder(const FileDescriptor& from, const std::string& name, std::string_view path) const;
    Descriptor makeFolder(const FileDescriptor& from, const std::string& name, std::string_view path);
    std::size_t goTo(std::string_view path, std::size_t known);
    Descriptor findFolder(std::string_view path);
    void addMade(const struct stat& status);
    std::string labelOf(std::string_view path) const;

    std::string label_;
    bool replaces_;
    Descriptor root_;
    std::mutex mutex_;       ///< for all below
    std::string path_;       ///< of the folder that was used last
    Descriptor folder_;      ///< the same
    std::set<Identity> met_; ///< files and folders that were made, or are used
};

} // namespace opc::storage
