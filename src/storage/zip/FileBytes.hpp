// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "storage/Bytes.hpp"
#include "storage/FileDescriptor.hpp"
#include "storage/FileIdentity.hpp"

#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace opc::storage {

/// The bytes of an input package.
class PackageBytes : public Bytes {
public:
    /// Throws when another program wrote to the bytes since they were opened.
    virtual void throwIfChanged() const = 0;
};

/// The bytes of a file that stays open, also when the file is replaced by another one.
class FileBytes final : public PackageBytes {
public:
    /// @param label starts the messages.
    FileBytes(std::filesystem::path file, std::string label);

    /// Waits for the lock on the file, and reopens it whenever another process replaced it meanwhile.
    /// @param cancelled ends the wait; may be null.
    /// @throws opc::Exception device_or_resource_busy at the timeout, operation_canceled; otherwise as the constructor.
    void lock(std::chrono::milliseconds wait, const std::atomic<bool>* cancelled);

    /// The identity of the file when it was opened.
    FileIdentity identity() const { return FileIdentity(status_); }
    /// A descriptor to lock while the file is replaced; -1 when the lock is held already.
    int getUnlocked() const { return isLocked_ ? -1 : file_.get(); }

    std::uint64_t size() const override { return static_cast<std::uint64_t>(status_.st_size); }
    std::size_t readAt(std::uint64_t offset, unsigned char* buffer, std::size_t size) const override;
    std::optional<FilePiece> findInFile(std::uint64_t offset, std::uint64_t size) const override {
        return FilePiece{file_.get(), offset, size};
    }
    void throwIfChanged() const override;

private:
    void open();

    std::filesystem::path path_;
    std::string label_;
    FileDescriptor file_;
    struct stat status_ = {};
    bool isLocked_ = false;
};

/// The bytes of a vector, which is not owned.
class VectorBytes final : public PackageBytes {
public:
    explicit VectorBytes(const std::vector<unsigned char>& bytes) : bytes_(bytes) {}

    std::uint64_t size() const override { return bytes_.size(); }
    std::size_t readAt(std::uint64_t offset, unsigned char* buffer, std::size_t size) const override;
    void throwIfChanged() const override {}

private:
    const std::vector<unsigned char>& bytes_;
};

} // namespace opc::storage
