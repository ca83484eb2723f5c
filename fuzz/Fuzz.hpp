// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Exception.hpp>
#include <opc/core/OutputStream.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Ends the process when a property of the library does not hold.
#define OPCRAFT_REQUIRE(condition) ((condition) ? void() : opc::fuzz::fail(#condition, __FILE__, __LINE__))

/// What the fuzz targets share. A target is one function that takes any bytes; it ends the process when the library
/// does what it must not do.
namespace opc::fuzz {

using Bytes = std::vector<unsigned char>;

/// By name. Each target registers itself; a fuzzer has one.
inline std::map<std::string, void (*)(const Bytes&)>& targets() {
    static std::map<std::string, void (*)(const Bytes&)> all;
    return all;
}

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

inline void write(OutputStream& stream, std::string_view text) {
    stream.write(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

/// Takes an input apart, from the front. What is missing at the end is zero or empty.
class Input {
public:
    explicit Input(const Bytes& bytes) : rest_(reinterpret_cast<const char*>(bytes.data()), bytes.size()) {}

    bool empty() const noexcept { return rest_.empty(); }

    unsigned number() {
        const unsigned value = rest_.empty() ? 0 : static_cast<unsigned char>(rest_.front());
        rest_.remove_prefix(rest_.empty() ? 0 : 1);
        return value;
    }

    /// Up to the next line feed, or all that is left; what is no UTF-8 becomes U+FFFD.
    std::u16string text() {
        const std::string_view line = rest_.substr(0, rest_.find('\n'));
        rest_.remove_prefix(std::min(line.size() + 1, rest_.size()));
        return toString(line, false);
    }

private:
    std::string_view rest_;
};

} // namespace opc::fuzz

extern "C" [[gnu::used]] inline int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    opc::fuzz::targets().begin()->second({data, data + size});
    return 0;
}
