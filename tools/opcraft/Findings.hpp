// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Console.hpp"

#include <opc/core/Findings.hpp>

#include <string>
#include <vector>

namespace opcraft {

/// What is found wrong while a package is opened or read tolerantly.
class FindingList final : public opc::FindingSink {
public:
    void found(const opc::Finding& finding) override { all_.push_back(finding); }

    const std::vector<opc::Finding>& getAll() const noexcept { return all_; }

    /// The reason of the first finding in an item; empty when there is none.
    std::string reasonFor(const std::string& item) const;

    /// Tells the user in one line how many findings there are, if any.
    void note(Console& console, const std::string& file) const;

private:
    std::vector<opc::Finding> all_;
};

} // namespace opcraft
