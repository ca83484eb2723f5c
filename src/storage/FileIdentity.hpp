// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/stat.h>

namespace opc::storage {

/// Identifies a file and its state: it differs from that of any other file, and changes when a program writes to it.
class FileIdentity {
public:
    explicit FileIdentity(const struct stat& status)
        : device_(status.st_dev), inode_(status.st_ino), size_(status.st_size), modified_(status.st_mtim) {}

    /// Whether it is the same file, whatever its content.
    bool isFileOf(const FileIdentity& other) const { return device_ == other.device_ && inode_ == other.inode_; }

    bool operator==(const FileIdentity& other) const {
        return isFileOf(other) && size_ == other.size_ && modified_.tv_sec == other.modified_.tv_sec &&
               modified_.tv_nsec == other.modified_.tv_nsec;
    }

private:
    dev_t device_;
    ino_t inode_;
    off_t size_;
    timespec modified_;
};

} // namespace opc::storage
