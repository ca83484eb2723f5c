// SPDX-License-Identifier: Apache-2.0
// Changes ZIP files as such: beside any byte of the file, the names and the contents of its items, with checksums
// that fit, so that what lies behind the ZIP format is reached too.
#include "Mutator.hpp"

#include "support/RawZip.hpp"

namespace {

using opc::test::RawItem;

constexpr std::size_t LONGEST_CONTENT = 64 * 1024;

std::string inflated(const opc::test::RawEntry& entry) {
    if (entry.method != Z_DEFLATED)
        return entry.payload;
    std::string content(LONGEST_CONTENT, '\0');
    uLongf size = content.size();
    const std::string framed = "\x78\x9C" + entry.payload; // as zlib frames it, but for the checksum
    uncompress(reinterpret_cast<Bytef*>(content.data()), &size, opc::test::zlibBytes(framed), framed.size());
    content.resize(size);
    return content;
}

/// @return none when the file cannot be taken apart.
std::vector<RawItem> itemsOf(const opc::fuzz::Bytes& file) try {
    std::vector<RawItem> items;
    for (const auto& entry : opc::test::RawZipReader(file).entries) {
        items.push_back({entry.name, inflated(entry), static_cast<int>(entry.method), entry.flags & ~8U});
        items.back().descriptor = (entry.flags & 8U) != 0;
    }
    return items;
} catch (const std::exception&) {
    return {};
}

void change(std::vector<RawItem>& items, std::minstd_rand& random) {
    const std::size_t at = random() % items.size();
    const unsigned what = random() % 8;
    if (what < 3)
        opc::fuzz::mutate(items[at].content, LONGEST_CONTENT);
    else if (what == 3)
        opc::fuzz::mutate(items[at].name, 512);
    else if (what == 4)
        items[at].method = items[at].method == Z_DEFLATED ? 0 : Z_DEFLATED;
    else if (what == 5)
        items[at].descriptor = !items[at].descriptor;
    else
        opc::fuzz::rearrange(items, at, at + 1, random);
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maximumSize,
                                               unsigned seed) {
    std::minstd_rand random(seed);
    std::vector<RawItem> items = itemsOf({data, data + size});
    std::string mutant;
    if (random() % 4 != 0 && !items.empty()) {
        change(items, random);
        mutant = opc::test::rawZip(items);
    }
    return opc::fuzz::put(mutant, data, size, maximumSize);
}
