// SPDX-License-Identifier: Apache-2.0
#include "signatures/TolerantPath.hpp"

#include <opc/core/Strings.hpp>

#include <vector>

namespace opc::model {

namespace {

int valueOf(char digit) {
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    const char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::string withoutEscapes(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEscape = text[i] == '%' && i + 2 < text.size();
        const int high = isEscape ? valueOf(text[i + 1]) : -1, low = isEscape ? valueOf(text[i + 2]) : -1;
        const bool isByte = high >= 0 && low >= 0;
        result += isByte ? static_cast<char>(high * 16 + low) : text[i];
        i += isByte ? 2 : 0;
    }
    return result;
}

std::string trimmed(const std::string& segment) {
    const auto isTrimmed = [](char c) { return c == '.' || static_cast<unsigned char>(c) <= ' '; };
    std::size_t begin = 0, end = segment.size();
    while (end > begin && isTrimmed(segment[end - 1]))
        --end;
    while (begin < end && static_cast<unsigned char>(segment[begin]) <= ' ')
        ++begin;
    return segment.substr(begin, end - begin);
}

} // namespace

std::string tolerantPath(std::string_view name) {
    std::vector<std::string> segments(1);
    for (const char c : withoutEscapes(name))
        if (c == '/' || c == '\\')
            segments.emplace_back();
        else
            segments.back() += c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
    std::vector<std::string> kept;
    for (const std::string& segment : segments) {
        if (segment == ".." && !kept.empty())
            kept.pop_back();
        else if (const std::string text = trimmed(segment); !text.empty())
            kept.push_back(text);
    }
    std::string path;
    for (const std::string& segment : kept)
        path += '/' + segment;
    return path;
}

std::set<std::string> tolerantPaths(const Relationship& relationship) {
    std::u16string target = relationship.getTarget();
    if (target.empty() || (target.front() != u'/' && target.front() != u'\\')) {
        const std::u16string source = relationship.getSourceURI().getPath();
        target.insert(0, source, 0, source.rfind(u'/') + 1);
    }
    const std::string whole = detail::toUTF8String(target, false);
    return {tolerantPath(whole), tolerantPath(whole.substr(0, whole.find_first_of("?#")))};
}

} // namespace opc::model
