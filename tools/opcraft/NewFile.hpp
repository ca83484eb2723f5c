// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

namespace opcraft {

/// A file that is made and filled. Nothing that exists is replaced, and what is not kept goes with the object.
class NewFile {
public:
    /// @throws Failure naming the file when it exists or cannot be made.
    explicit NewFile(std::string name);
    ~NewFile();

    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    /// @throws Failure naming the file when it cannot be written; so does `keep`.
    void write(const unsigned char* data, std::size_t size);
    /// Ends writing; the file stays.
    void keep();

private:
    [[noreturn]] void fail(int number) const;

    std::string name_;
    int descriptor_;
};

} // namespace opcraft
