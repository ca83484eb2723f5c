// SPDX-License-Identifier: Apache-2.0
#include "compare/RelationshipComparison.hpp"

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include <algorithm>
#include <tuple>
#include <utility>

namespace opc::compare {

namespace {

using model::Relationship;
using model::RelationshipSource;

/// A relationship as it is reported, and what it is equal to when its target was renamed.
struct Entry {
    RelationshipDifference report;
    std::string renamed;
};

/// By source, type, mode and target, in a form that is equal for what means the same.
using Multiset = std::map<std::string, std::vector<Entry>>;

std::string renamedKey(const std::string& key, const Renames& renames) {
    const auto found = renames.find(key);
    return found == renames.end() ? key : found->second;
}

std::string comparedTarget(const Relationship& relationship, const Renames& renames) {
    const std::string key = targetKeyOf(relationship);
    if (key.empty())
        return toText(relationship.getTarget());
    const model::URI target = relationship.getTargetURI();
    return renamedKey(key, renames) + (target.hasQuery() ? "?" + toText(target.getQuery()) : "") +
           (target.hasFragment() ? "#" + toText(target.getFragment()) : "");
}

/// Type, mode and target.
std::string meaningOf(const Relationship& relationship, const Renames& renames) {
    const bool isExternal = relationship.getTargetMode() == model::TargetMode::External;
    return toText(relationship.getType()) + '\n' + (isExternal ? "external" : "internal") + '\n' +
           comparedTarget(relationship, renames);
}

/// A relationship as it is reported, when it was removed.
RelationshipDifference differenceOf(const Relationship& relationship, const std::string& source) {
    const bool isExternal = relationship.getTargetMode() == model::TargetMode::External;
    return {DifferenceKind::Removed,
            source,
            toText(relationship.getID()),
            toText(relationship.getType()),
            isExternal ? toText(relationship.getTarget()) : resolvedTargetOf(relationship),
            isExternal,
            {}};
}

RelationshipDifference differenceOf(const model::RawRelationship& raw, const std::string& source) {
    return {DifferenceKind::Removed,       source,    toText(raw.id), toText(raw.type), toText(raw.target),
            raw.targetMode == u"External", raw.reason};
}

class Collector {
public:
    Collector(const ComparedParts& parts, const Renames& renames, const CompareOptions& options, std::string side)
        : renames_(renames), options_(options), side_(std::move(side)) {
        add(parts.getPackage(), "/");
        for (const auto& [key, part] : parts.getParts())
            add(part, renamedKey(key, renames));
    }

    Multiset take() { return std::move(all_); }

private:
    void add(const RelationshipSource& source, const std::string& key) {
        const std::string name = toText(source.getSourceURI().toString());
        if (options_.isCompared && !options_.isCompared(name))
            return;
        for (const Relationship& each : source.getRelationships())
            if (!isIgnored(each))
                all_[key + '\n' + meaningOf(each, {})].push_back(
                    {differenceOf(each, name), key + '\n' + meaningOf(each, renames_)});
        for (const model::RawRelationship& each : source.getRawRelationships())
            all_[key + "\n\n" + each.text].push_back({differenceOf(each, name), {}});
        if (source.hasUnreadableRelationships())
            addUnreadable(source, key, name);
    }

    void addUnreadable(const RelationshipSource& source, const std::string& key, const std::string& name) {
        std::string bytes;
        try {
            const std::vector<unsigned char> stored = source.readRelationshipsPart();
            bytes.assign(stored.begin(), stored.end());
        } catch (const Exception&) { // damaged: nobody knows that another one is equal
            bytes = "\n" + side_;
        }
        RelationshipDifference difference;
        difference.source = name;
        difference.problem = "the relationships part cannot be read";
        all_[key + "\n\n\n" + bytes].push_back({std::move(difference), {}});
    }

    bool isIgnored(const Relationship& relationship) const {
        return (options_.ignoresCoreProperties && isOfCoreProperties(relationship)) ||
               (options_.ignoresSignatures && isOfSignatures(relationship));
    }

    const Renames& renames_;
    const CompareOptions& options_;
    std::string side_;
    Multiset all_;
};

/// Takes what both have as often out of both.
void cancel(Multiset& before, Multiset& after) {
    for (auto& [key, all] : before)
        if (const auto others = after.find(key); others != after.end()) {
            const std::size_t common = std::min(all.size(), others->second.size());
            all.resize(all.size() - common);
            others->second.resize(others->second.size() - common);
        }
}

/// The same relationships, by what they are equal to when their targets were renamed.
Multiset byRenamed(const Multiset& relationships) {
    Multiset result;
    for (const auto& [key, all] : relationships)
        for (const Entry& each : all)
            result[each.renamed.empty() ? key : each.renamed].push_back(each);
    return result;
}

void addAll(const Multiset& relationships, DifferenceKind kind, std::vector<RelationshipDifference>& differences) {
    for (const auto& [key, all] : relationships)
        for (const Entry& each : all) {
            differences.push_back(each.report);
            differences.back().kind = kind;
        }
}

} // namespace

std::string resolvedTargetOf(const Relationship& relationship) {
    try {
        return toText(relationship.getTargetURI().toString());
    } catch (const Exception&) {
        return toText(relationship.getTarget());
    }
}

void compareRelationships(const ComparedParts& before, const ComparedParts& after, const Renames& renames,
                          const CompareOptions& options, std::vector<RelationshipDifference>& differences) {
    Multiset old = Collector(before, renames, options, "before").take();
    Multiset now = Collector(after, {}, options, "after").take();
    cancel(old, now);
    old = byRenamed(old);
    cancel(old, now);
    addAll(old, DifferenceKind::Removed, differences);
    addAll(now, DifferenceKind::Added, differences);
    std::stable_sort(differences.begin(), differences.end(), [](const auto& a, const auto& b) {
        return std::tie(a.source, a.type, a.target) < std::tie(b.source, b.type, b.target);
    });
}

IdTargets idTargetsOf(const model::Part& part, const Renames& renames) {
    IdTargets targets;
    for (const Relationship& each : part.getRelationships())
        targets.emplace(toText(each.getID()), meaningOf(each, renames));
    return targets;
}

} // namespace opc::compare
