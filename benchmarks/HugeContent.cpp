// SPDX-License-Identifier: Apache-2.0
#include "HugeContent.hpp"

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <string_view>

namespace opc::benchmarks {

namespace {

std::string nextWord(std::mt19937& random) {
    static constexpr std::array<std::string_view, 16> words = {"paragraph", "value",  "row",    "cell",  "the", "of",
                                                               "style",     "format", "number", "and",   "is",  "a",
                                                               "in",        "to",     "width",  "colour"};
    const auto draw = random();
    if (draw % 4 == 0)
        return std::to_string(draw >> 8) + (draw % 8 == 0 ? "\n" : " ");
    return std::string(words[(draw >> 8) % words.size()]) + " ";
}

} // namespace

HugeContent::HugeContent(Kind kind, std::uint64_t size) : size_(size) {
    std::mt19937 random(20260101); // NOLINT: the same bytes in every run
    block_.reserve(blockSize);
    while (block_.size() < blockSize) {
        if (kind == Kind::Noise) {
            block_.push_back(static_cast<unsigned char>(random()));
            continue;
        }
        const std::string word = nextWord(random);
        block_.insert(block_.end(), word.begin(), word.end());
    }
    block_.resize(blockSize);
}

zip_source_t* HugeContent::makeSource(zip_t* zip) {
    return zip_source_function(zip, onCommand, this);
}

zip_int64_t HugeContent::onCommand(void* self, void* data, zip_uint64_t size, zip_source_cmd_t command) {
    HugeContent& content = *static_cast<HugeContent*>(self);
    switch (command) {
    case ZIP_SOURCE_OPEN:
        content.position_ = 0;
        return 0;
    case ZIP_SOURCE_READ:
        return content.read(static_cast<unsigned char*>(data), size);
    case ZIP_SOURCE_STAT:
        zip_stat_init(static_cast<zip_stat_t*>(data));
        static_cast<zip_stat_t*>(data)->size = content.size_;
        static_cast<zip_stat_t*>(data)->valid = ZIP_STAT_SIZE;
        return sizeof(zip_stat_t);
    case ZIP_SOURCE_SUPPORTS:
        return zip_source_make_command_bitmap(ZIP_SOURCE_OPEN, ZIP_SOURCE_READ, ZIP_SOURCE_STAT, ZIP_SOURCE_CLOSE,
                                              ZIP_SOURCE_ERROR, ZIP_SOURCE_FREE, -1);
    default: // closing and freeing, and asking for an error, of which there is none
        return 0;
    }
}

zip_int64_t HugeContent::read(unsigned char* buffer, zip_uint64_t size) {
    zip_uint64_t done = 0;
    while (done < size && position_ < size_) {
        const std::uint64_t start = position_ % blockSize;
        const std::uint64_t count = std::min({size - done, size_ - position_, blockSize - start});
        std::copy_n(block_.begin() + static_cast<std::ptrdiff_t>(start), count, buffer + done);
        done += count;
        position_ += count;
    }
    return static_cast<zip_int64_t>(done);
}

} // namespace opc::benchmarks
