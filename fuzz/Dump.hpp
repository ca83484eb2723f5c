// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <string>
#include <tuple>

namespace opc::model {
class Package;
}

namespace opc::fuzz {

/// What a package holds, to compare one with another.
struct Dump {
    struct Part {
        std::u16string contentType;
        std::optional<std::string> content; ///< nothing when it cannot be read, or was not asked for
        bool operator==(const Part& other) const = default;
    };
    /// Source and ID; type, target and whether it is external.
    using Relationships =
        std::map<std::tuple<std::u16string, std::u16string>, std::tuple<std::u16string, std::u16string, bool>>;

    std::map<std::u16string, Part> parts;
    Relationships relationships;
    bool operator==(const Dump& other) const = default;
};

enum class Contents { Read, LeaveOut };

/// @param package is open.
Dump dump(const model::Package& package, Contents contents);

} // namespace opc::fuzz
