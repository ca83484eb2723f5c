// SPDX-License-Identifier: Apache-2.0
#include <opc/compare/Compare.hpp>

#include "compare/ComparedParts.hpp"
#include "compare/PartComparison.hpp"
#include "compare/PropertyComparison.hpp"
#include "compare/RelationshipComparison.hpp"
#include "compare/SignatureComparison.hpp"
#include "compare/StoredItems.hpp"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace opc::compare {

namespace {

class Comparison {
public:
    Comparison(const ComparedPackage& before, const ComparedPackage& after, const CompareOptions& options)
        : options_(options), before_(before, options), after_(after, options),
          parts_(before_, after_, renames_, options) {}

    DifferenceReport run() {
        before_.digestAhead();
        after_.digestAhead();
        findRenames();
        if (!options_.ignoresCoreProperties && isCompared(before_.getCorePropertiesKey()) &&
            isCompared(after_.getCorePropertiesKey()))
            byValue_ = compareProperties(before_, after_, report_.properties);
        compareParts();
        compareRelationships(before_, after_, renames_, options_, report_.relationships);
        compareItems(before_, after_, options_, report_.items);
        if (!options_.ignoresSignatures && !options_.isCompared)
            compareSignatures(before_, after_, report_.signatures);
        return std::move(report_);
    }

private:
    /// What makes a part the same under another name: the digest of its bytes and its content type.
    using Content = std::pair<std::vector<unsigned char>, model::ContentType>;

    /// @param name of a part; empty: of none.
    bool isCompared(const std::string& name) const {
        return name.empty() || !options_.isCompared || options_.isCompared(name);
    }

    bool isCompared(const model::Part& part) const { return isCompared(toText(part.getName().toString())); }

    /// The key of the only part with a content; empty for one of several.
    static std::map<Content, std::string> contentsOf(ComparedParts& parts) {
        std::map<Content, std::string> contents;
        for (const auto& [key, part] : parts.getParts()) {
            const auto [found, isNew] = contents.emplace(Content{parts.digestOf(part), part.getContentType()}, key);
            if (!isNew)
                found->second.clear();
        }
        return contents;
    }

    void findRenames() {
        const auto contents = contentsOf(after_);
        for (const auto& [content, old] : contentsOf(before_))
            if (const auto found = contents.find(content); !old.empty() && found != contents.end() &&
                                                           !found->second.empty() && after_.find(old) == nullptr &&
                                                           before_.find(found->second) == nullptr)
                renames_.emplace(old, found->second);
    }

    void compareParts() {
        std::set<std::string> seen;
        for (const auto& [key, part] : before_.getParts()) {
            const auto renamed = renames_.find(key);
            const std::string& now = renamed == renames_.end() ? key : renamed->second;
            const model::Part* other = after_.find(now);
            seen.insert(now);
            if (isCompared(part) || (other != nullptr && isCompared(*other)))
                comparePart(part, other, key != now);
        }
        for (const auto& [key, part] : after_.getParts())
            if (seen.count(key) == 0 && isCompared(part))
                report_.parts.push_back({DifferenceKind::Added, {}, after_.stateOf(part)});
        std::stable_sort(report_.parts.begin(), report_.parts.end(),
                         [](const PartDifference& a, const PartDifference& b) { return nameOf(a) < nameOf(b); });
    }

    static const std::string& nameOf(const PartDifference& difference) {
        return difference.before ? difference.before->name : difference.after->name;
    }

    void comparePart(const model::Part& part, const model::Part* other, bool isRenamed) {
        PartDifference difference{DifferenceKind::Removed, {}, {}};
        if (other != nullptr) {
            ++report_.comparedParts;
            difference.differsInType = part.getContentType() != other->getContentType();
            const bool differs =
                isSameByValue(part, *other) ? difference.differsInType : parts_.compare(part, *other, difference);
            if (!differs && !isRenamed)
                return;
            difference.kind = isRenamed ? DifferenceKind::Renamed : DifferenceKind::Changed;
            difference.after = after_.stateOf(*other);
        }
        difference.before = before_.stateOf(part);
        report_.parts.push_back(std::move(difference));
    }

    /// Whether two parts are core properties, of which nothing but the values that were compared differs. Not all is in
    /// the values, such as text behind a comment.
    bool isSameByValue(const model::Part& part, const model::Part& other) {
        return byValue_ && &part == before_.find(before_.getCorePropertiesKey()) &&
               &other == after_.find(after_.getCorePropertiesKey()) &&
               (!report_.properties.empty() || !parts_.differsLoosely(part, other));
    }

    const CompareOptions& options_;
    ComparedParts before_;
    ComparedParts after_;
    Renames renames_;
    PartComparison parts_;
    bool byValue_ = false; ///< whether core properties were compared by their values
    DifferenceReport report_;
};

} // namespace

bool DifferenceReport::isEqual() const noexcept {
    return parts.empty() && relationships.empty() && properties.empty() && items.empty() && signatures.empty();
}

DifferenceReport compare(const ComparedPackage& before, const ComparedPackage& after, const CompareOptions& options) {
    return Comparison(before, after, options).run();
}

} // namespace opc::compare
