// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Bytes.hpp"
#include "storage/FileAttributes.hpp"
#include "storage/FileDescriptor.hpp"
#include "storage/FileIdentity.hpp"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace opc::storage {

/// Throws permission_denied when the file exists and the user may not write to it.
void throwIfNotWritable(const std::filesystem::path& file, const std::string& label);

/// Where a file is saved, and which file may be replaced.
struct Destination {
    /// @param label starts the messages.
    Destination(std::filesystem::path file, std::string label);

    std::filesystem::path file;
    std::string label;
    std::optional<FileIdentity> known; ///< what may be replaced; nothing: there was no file
    int unlocked = -1;                 ///< its descriptor for the lock between savers; -1: none
};

/// Replaces a file: writes a temporary one beside it and renames it at the end. A symbolic link stays, the
/// file it leads to is replaced, with its mode and, where the system allows it, its owner. Temporary files that other
/// processes left when they were killed are removed.
class FileTarget final : public Target {
public:
    /// @param destination outlives the target, and gets the identity of the new file.
    /// @throws opc::Exception device_or_resource_busy when there is another file than the known one; so does `commit`.
    explicit FileTarget(Destination& destination);
    ~FileTarget() override;

    FileTarget(const FileTarget&) = delete;
    FileTarget& operator=(const FileTarget&) = delete;

    void write(const unsigned char* data, std::size_t size) override;
    std::uint64_t writeFrom(const FilePiece& piece) override;
    void commit() override;

private:
    bool createTemporary(std::filesystem::path name);
    void createTemporary();
    void removeLeftBehind() const;
    [[noreturn]] void failForeign() const;
    bool findKnown() const;
    void replace();

    Destination& destination_;
    const std::string& label_;
    std::filesystem::path file_;
    std::filesystem::path temporary_; ///< empty when there is nothing to remove
    std::optional<FileRights> old_;   ///< of the file that is replaced
    FileDescriptor output_;
    std::uint64_t position_ = 0;
};

/// Replaces the content of a vector, which is not owned.
class VectorTarget final : public Target {
public:
    explicit VectorTarget(std::vector<unsigned char>& bytes) : bytes_(bytes) {}
    void write(const unsigned char* data, std::size_t size) override {
        written_.insert(written_.end(), data, data + size);
    }
    void commit() override { bytes_ = std::move(written_); }

private:
    std::vector<unsigned char>& bytes_;
    std::vector<unsigned char> written_;
};

} // namespace opc::storage
