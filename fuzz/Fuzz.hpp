// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

/// What the fuzz targets share. A target is one function that takes any bytes; it ends the process when the library
/// does what it must not do.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Ends the process when a property of the library does not hold.
#define OPCRAFT_REQUIRE(condition) ((condition) ? void() : opc::fuzz::fail(#condition, __FILE__, __LINE__))

namespace opc::fuzz {

[[noreturn]] inline void fail(const char* condition, const char* file, int line) {
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

/// Runs what may be refused. An exception that is none of the library's passes, and is a finding.
/// @return false when it was refused.
template <class Action>
bool accepted(Action&& action) {
    try {
        action();
        return true;
    } catch (const Exception&) {
        return false;
    }
}

inline std::vector<unsigned char> bytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}

/// Takes an input apart, from the front. What is missing at the end is zero or empty.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    bool empty() const noexcept { return rest_.empty(); }

    unsigned number() {
        if (rest_.empty())
            return 0;
        const auto value = static_cast<unsigned char>(rest_.front());
        rest_.remove_prefix(1);
        return value;
    }

    /// Up to the next line feed, or all that is left.
    std::string_view line() {
        const std::size_t end = std::min(rest_.find('\n'), rest_.size());
        const std::string_view text = rest_.substr(0, end);
        rest_.remove_prefix(std::min(end + 1, rest_.size()));
        return text;
    }
    /// What is no UTF-8 becomes U+FFFD.
    std::u16string text() { return toString(line(), false); }

    std::string_view rest() const noexcept { return rest_; }

private:
    std::string_view rest_;
};

} // namespace opc::fuzz
