// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>
#include <string>
#include <vector>

namespace opc::lint {

/// The short attribute values of an XML document that was not parsed: by one of them it may refer to a relationship.
class AttributeValues {
public:
    /// Of a document that does not exist.
    AttributeValues() = default;

    /// @param sought the values that count; so do all that begin with "rId".
    AttributeValues(std::vector<unsigned char> document, const std::set<std::string>& sought);

    /// Why it is not known what the document refers to; empty when it is.
    const std::string& getProblem() const noexcept { return problem_; }
    bool has(const std::string& value) const { return values_.count(value) != 0; }

private:
    std::set<std::string> values_;
    std::string problem_;
};

} // namespace opc::lint
