// SPDX-License-Identifier: Apache-2.0
#include <opc/model/PartContent.hpp>

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/Part.hpp>

#include "model/ItemBytes.hpp"

#include <algorithm>
#include <utility>

namespace opc::model {

namespace {

std::string toText(const std::vector<unsigned char>& bytes) {
    return {bytes.begin(), bytes.end()};
}

/// Whether the bytes begin with a byte order mark.
template <std::size_t N>
bool beginWith(const std::vector<unsigned char>& bytes, const unsigned char (&mark)[N]) {
    return bytes.size() >= N && std::equal(mark, mark + N, bytes.begin());
}

/// @param low the offset of the low byte in each unit.
std::string fromUTF16(const std::vector<unsigned char>& bytes, std::size_t low) {
    if (bytes.size() % 2 != 0)
        throw Exception("The text is not valid UTF-16: half a unit at the end.");
    std::u16string text;
    text.reserve(bytes.size() / 2);
    for (std::size_t i = 2; i < bytes.size(); i += 2) // behind the byte order mark
        text += static_cast<char16_t>(bytes[i + low] | (bytes[i + 1 - low] << 8));
    return toUTF8(text);
}

std::string decode(std::vector<unsigned char> bytes) {
    if (beginWith(bytes, {0xFF, 0xFE}))
        return fromUTF16(bytes, 0);
    if (beginWith(bytes, {0xFE, 0xFF}))
        return fromUTF16(bytes, 1);
    if (beginWith(bytes, {0xEF, 0xBB, 0xBF}))
        bytes.erase(bytes.begin(), bytes.begin() + 3);
    std::string text = toText(bytes);
    fromUTF8(text);
    return text;
}

} // namespace

std::vector<unsigned char> readBytes(const Part& part, std::uint64_t maximum) {
    std::vector<unsigned char> bytes;
    readBlocks(part, [&](const unsigned char* data, std::size_t size) {
        if (size > maximum - bytes.size())
            throw Exception(part.getName().toUTF8() + ": more than " + std::to_string(maximum) +
                                " bytes, the most that are read into memory",
                            make_error_code(boost::system::errc::file_too_large));
        bytes.insert(bytes.end(), data, data + size);
    });
    return bytes;
}

std::string readText(const Part& part, std::uint64_t maximum) {
    auto bytes = readBytes(part, maximum);
    try {
        return decode(std::move(bytes));
    } catch (const Exception& e) {
        throw InvalidPartContent(part.getName().toUTF8() + ": " + e.what());
    }
}

void readBlocks(const Part& part, const std::function<void(const unsigned char*, std::size_t)>& take) {
    readItem(
        *part.getInputStream(),
        [&take](const unsigned char* data, std::size_t size) {
            take(data, size);
            return true;
        });
}

void writeBytes(const Part& part, const unsigned char* data, std::size_t size) {
    replaceItem(*part.getOutputStream(), data, size);
}

void writeBytes(const Part& part, const std::vector<unsigned char>& bytes) {
    writeBytes(part, bytes.data(), bytes.size());
}

void writeText(const Part& part, std::string_view utf8) {
    fromUTF8(utf8);
    writeBytes(part, reinterpret_cast<const unsigned char*>(utf8.data()), utf8.size());
}

} // namespace opc::model
