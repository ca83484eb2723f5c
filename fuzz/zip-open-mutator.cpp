// SPDX-License-Identifier: Apache-2.0
// Changes ZIP files as such: beside any byte of the file, the names and the contents of its items, with checksums
// that fit, so that what lies behind the ZIP format is reached too.
#include "support/RawZip.hpp"

#include "Fuzz.hpp"

#include <random>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maximumSize);

namespace {

using opc::test::RawItem;

constexpr std::size_t longestContent = 64 * 1024;

std::string inflated(const opc::test::RawEntry& entry) {
    if (entry.method != Z_DEFLATED)
        return entry.payload;
    std::string content(longestContent, '\0');
    z_stream stream = {};
    inflateInit2(&stream, -15);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(entry.payload.data()));
    stream.avail_in = static_cast<uInt>(entry.payload.size());
    stream.next_out = reinterpret_cast<Bytef*>(content.data());
    stream.avail_out = static_cast<uInt>(content.size());
    inflate(&stream, Z_FINISH);
    content.resize(stream.total_out);
    inflateEnd(&stream);
    return content;
}

/// @return none when the file cannot be taken apart.
std::vector<RawItem> itemsOf(const std::uint8_t* data, std::size_t size) try {
    std::vector<RawItem> items;
    for (const auto& entry : opc::test::RawZipReader({data, data + size}).entries) {
        RawItem item{entry.name, inflated(entry), static_cast<int>(entry.method), entry.flags & ~8U};
        item.descriptor = (entry.flags & 8U) != 0;
        items.push_back(std::move(item));
    }
    return items;
} catch (const std::exception&) {
    return {};
}

void mutate(std::string& text, std::size_t maximumSize) {
    const std::size_t limit = std::min(std::max(text.size() + 32, text.size() * 2), maximumSize);
    const std::size_t size = std::min(text.size(), limit);
    text.resize(limit);
    text.resize(LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(text.data()), size, limit));
}

void change(std::vector<RawItem>& items, std::minstd_rand& random) {
    const std::size_t at = random() % items.size();
    const std::size_t other = random() % items.size();
    switch (random() % 8) {
    case 0:
        return mutate(items[at].name, 512);
    case 1:
        items[at].method = items[at].method == Z_DEFLATED ? 0 : Z_DEFLATED;
        return;
    case 2:
        items[at].descriptor = !items[at].descriptor;
        return;
    case 3:
        return items.push_back(RawItem(items[at]));
    case 4:
        items.erase(items.begin() + static_cast<std::ptrdiff_t>(at));
        return;
    case 5:
        return std::swap(items[at], items[other]);
    default:
        return mutate(items[at].content, longestContent);
    }
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maximumSize,
                                               unsigned seed) {
    std::minstd_rand random(seed);
    std::vector<RawItem> items = random() % 4 == 0 ? std::vector<RawItem>() : itemsOf(data, size);
    if (items.empty())
        return LLVMFuzzerMutate(data, size, maximumSize);
    change(items, random);
    const std::vector<unsigned char> bytes = opc::test::makeZip(items);
    if (bytes.size() > maximumSize)
        return LLVMFuzzerMutate(data, size, maximumSize);
    std::copy(bytes.begin(), bytes.end(), data);
    return bytes.size();
}
