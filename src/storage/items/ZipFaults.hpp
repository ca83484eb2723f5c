// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Findings.hpp>

#include <string>
#include <utility>

namespace opc::storage {

/// Something that is wrong with a ZIP package. All texts are UTF-8.
struct ZipFault {
    RuleId rule;
    std::string item;    ///< its name; empty for the package as a whole
    std::string what;    ///< without the item
    std::string said{};  ///< by an exception, behind the name of the package; empty: the item and what is wrong
    std::string value{}; ///< of several faults of one rule in an item, what tells them apart
};

/// Where it goes what is wrong with a package that is read: to a sink for findings, or into an exception. So each
/// check stands once, for those who refuse a package and for those who want to know all of it.
class ZipFaults {
public:
    /// @param label starts the messages of exceptions.
    /// @param sink null: the first fault ends the reading. Else it outlives this object.
    /// @param blocks whether such a fault makes an open without a sink refuse the package.
    ZipFaults(std::string label, FindingSink* sink, bool blocks)
        : label_(std::move(label)), sink_(sink), blocks_(blocks) {}

    /// Whether the reading goes on behind a fault.
    bool isTolerant() const { return sink_ != nullptr; }

    /// @throws opc::Exception bad_message without a sink
    void add(const ZipFault& fault) const;

    /// Something that no package is refused for: without a sink, nothing happens.
    void note(const ZipFault& fault) const {
        if (sink_)
            add(fault);
    }

private:
    std::string label_;
    FindingSink* sink_;
    bool blocks_;
};

} // namespace opc::storage
