// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace opc::test {

using Bytes = std::vector<unsigned char>;

inline Bytes toBytes(const std::string& text) {
    return {text.begin(), text.end()};
}

inline std::string toText(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

/// A number of so many bytes, the lowest first.
inline std::string number(std::uint64_t value, int size) {
    std::string text;
    for (int i = 0; i < size; ++i)
        text += static_cast<char>(value >> 8 * i & 0xFF);
    return text;
}

/// The same random bytes at every call: of few different ones they compress well, of 256 they do not.
inline std::string someText(std::size_t size, unsigned seed = 1, unsigned different = 16) {
    std::mt19937 random(seed);
    std::string text(size, '\0');
    for (char& c : text)
        c = static_cast<char>('a' + random() % different);
    return text;
}

} // namespace opc::test
