// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Findings.hpp>
#include <opc/errors/Errors.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace opc::interfaces {
class IPhysicalInputStream;
}

namespace opc::model {

/// Where what is wrong in a package that is read goes to: it is thrown, or with a sink handed to it as a finding.
class Reading {
public:
    /// Throws.
    Reading() = default;
    /// @param blocks whether a reader without a sink refuses the package because of what is found.
    explicit Reading(FindingSink* sink, bool blocks = true) noexcept : sink_(sink), blocks_(blocks) {}

    bool isTolerant() const noexcept { return sink_ != nullptr; }

    /// Reads something. Without a sink, what that throws is thrown; with one, it is left to `wrong`, but for failures
    /// of the store and of the library itself.
    /// @return whether it was read.
    template <class Read, class Wrong>
    bool attempt(Read read, Wrong wrong) const {
        try {
            read();
            return true;
        } catch (const PackageOpenFailed&) {
            throw;
        } catch (const InvalidXMLSchema&) {
            throw;
        } catch (const Exception& e) {
            if (!isTolerant())
                throw;
            wrong(e);
        }
        return false;
    }

    /// Counts an element that took more than the plain reader.
    /// @return how many there were.
    std::size_t countUnusual() const noexcept { return ++unusual_; }

    /// Hands an error to the sink.
    /// @param item that it is in, unless its place names one.
    void found(RuleId rule, const Exception& error, const std::string& item) const;
    /// @param place with the reason.
    void found(RuleId rule, ErrorPlace place) const;

    /// Reads an XML item whole.
    /// @return none, after a finding, for one that is damaged.
    /// @throws PackageOpenFailed
    std::optional<std::vector<unsigned char>> readItem(const std::function<interfaces::IPhysicalInputStream*()>& open,
                                                       std::uint64_t maximumSize,
                                                       const std::function<std::string()>& item) const;

private:
    FindingSink* sink_ = nullptr;
    bool blocks_ = true;
    mutable std::size_t unusual_ = 0; ///< in all that is read
};

/// The rule that a text which is not a part name breaks.
RuleId ruleOfPartName(const std::u16string& name);

} // namespace opc::model
