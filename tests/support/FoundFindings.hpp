// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Findings.hpp>

#include <string>
#include <vector>

namespace opc::test {

/// Keeps what is found.
class FoundFindings final : public FindingSink {
public:
    void found(const Finding& finding) override { all.push_back(finding); }

    /// The names of the rules, with a blank between them.
    std::string rules() const {
        std::string names;
        for (const Finding& each : all)
            names += (names.empty() ? "" : " ") + std::string(getRule(each.rule).name);
        return names;
    }

    std::vector<Finding> all;
};

} // namespace opc::test
