// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "compare/ComparedParts.hpp"
#include "compare/RelationshipComparison.hpp"

#include <string>

namespace opc::compare {

/// Compares one part of two packages after the other.
class PartComparison {
public:
    PartComparison(ComparedParts& before, ComparedParts& after, const Renames& renames, const CompareOptions& options);

    /// Whether a part has a media type of XML, or begins with an XML declaration.
    /// @throws opc::Exception when it cannot be read.
    static bool isXml(const model::Part& part);

    /// Fills in how the parts differ but for their names.
    /// @return whether they do.
    bool compare(const model::Part& before, const model::Part& after, PartDifference& difference);

    /// Whether two parts of XML differ, wherever white space is between their elements, and in whatever order these
    /// are.
    bool differsLoosely(const model::Part& before, const model::Part& after);

private:
    void takeIds(const model::Part& before, const model::Part& after);
    bool comparesXml(const model::Part& before, const model::Part& after, bool isEqual, PartDifference& difference);
    void showLines(const model::Part& before, const model::Part& after, PartDifference& difference);
    bool readLines(const model::Part& part, const IdTargets& ids, std::vector<std::string>& lines) const;
    void compareBytes(const model::Part& before, const model::Part& after, PartDifference& difference) const;

    ComparedParts& before_;
    ComparedParts& after_;
    const Renames& renames_;
    const CompareOptions& options_;
    IdTargets idsBefore_{}; ///< of the parts that are compared; unless Ids are ignored, those that lead elsewhere
    IdTargets idsAfter_{};
};

} // namespace opc::compare
