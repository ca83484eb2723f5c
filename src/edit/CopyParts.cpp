// SPDX-License-Identifier: Apache-2.0
#include <opc/edit/CopyParts.hpp>

#include <opc/core/PartNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include "edit/Leading.hpp"

#include <algorithm>
#include <set>
#include <tuple>

namespace opc::edit {

namespace {

using model::Package;
using model::Part;
using model::PartName;
using model::Relationship;
using model::TargetMode;

constexpr unsigned long BLOCK_SIZE = 64UL * 1024;

/// Reads a part block by block.
class PartReader {
public:
    explicit PartReader(const Part& part) : stream_(*part.getInputStream()), block_(BLOCK_SIZE) { stream_.open(); }
    ~PartReader() {
        try {
            stream_.close();
        } catch (...) { // NOLINT(bugprone-empty-catch): it was only read
        }
    }
    PartReader(const PartReader&) = delete;
    PartReader& operator=(const PartReader&) = delete;

    /// Full blocks, but for the last one; empty at the end.
    std::basic_string_view<unsigned char> next() {
        unsigned long size = 0;
        while (size < BLOCK_SIZE) {
            const unsigned long count = stream_.read(block_.data() + size, BLOCK_SIZE - size);
            if (count == 0)
                break;
            size += count;
        }
        return {block_.data(), size};
    }

private:
    InputStream& stream_;
    std::vector<unsigned char> block_;
};

bool haveSameBytes(const Part& a, const Part& b) {
    PartReader readerA(a);
    PartReader readerB(b);
    while (true) {
        const auto blockA = readerA.next();
        if (blockA != readerB.next())
            return false;
        if (blockA.empty())
            return true;
    }
}

/// What relationships are compared by: what a part says may depend on any of it.
auto meaningsOf(const Part& part) {
    std::set<std::tuple<std::u16string, std::u16string, TargetMode, std::u16string>> meanings;
    for (const Relationship& each : part.getRelationships()) {
        const bool isInternal = each.getTargetMode() == TargetMode::Internal;
        meanings.emplace(each.getID(), each.getType(), each.getTargetMode(),
                         isInternal ? each.getTargetURI().toString() : each.getTarget());
    }
    return meanings;
}

/// @return in what two parts differ; empty when they are equal.
std::string findDifference(const Part& a, const Part& b) {
    if (a.getName().toString() != b.getName().toString())
        return "the other package has " + toASCIIString(b.getName().toString());
    if (a.getContentType().toString() != b.getContentType().toString())
        return "the other package has a part of this name with the content type " +
               detail::toUTF8String(b.getContentType().toString());
    if (!haveSameBytes(a, b))
        return "the other package has a part of this name with other content";
    if (!b.isRelationshipsPartWhole() || meaningsOf(a) != meaningsOf(b))
        return "the other package has a part of this name with other relationships";
    return {};
}

class Copier {
public:
    Copier(const Package& from, Package& to) : from_(from), to_(to) {}

    void find(const PartName& name, bool withTree) {
        std::vector<PartName> open{name};
        while (!open.empty()) {
            const Part part = from_.getPart(open.back());
            open.pop_back();
            if (!names_.insert(part.getName()).second || !withTree)
                continue;
            for (const Relationship& each : part.getRelationships())
                if (const auto path = pathOf(each); path && detail::isPartName(*path) && from_.hasPart(*path))
                    open.emplace_back(*path);
        }
    }

    /// Compares with the parts that are there.
    void compare() {
        for (const PartName& name : names_) {
            const Part part = from_.getPart(name);
            if (!part.isRelationshipsPartWhole())
                throw model::InvalidRelationshipContent("Something is wrong in the relationships of " +
                                                        toASCIIString(name.toString()));
            if (!to_.hasPart(name))
                missing_.push_back(name);
            else if (std::string difference = findDifference(part, to_.getPart(name)); difference.empty())
                report_.shared.push_back(name.toString());
            else
                report_.conflicts.push_back({name.toString(), std::move(difference)});
        }
    }

    /// Creates all parts before anything is written, so that every name that is refused is known.
    void create() {
        std::vector<PartName> created;
        for (const PartName& name : missing_)
            try {
                to_.createPart(name, from_.getPart(name).getContentType(), model::StandardPartInfo());
                created.push_back(name);
            } catch (const Exception& e) {
                report_.conflicts.push_back({name.toString(), e.what()});
            }
        if (!report_.conflicts.empty())
            for (const PartName& name : created)
                to_.deletePart(name);
    }

    void fill() {
        for (const PartName& name : missing_) {
            const Part part = from_.getPart(name);
            Part copy = to_.getPart(name);
            PartReader reader(part);
            OutputStream& output = *copy.getOutputStream();
            for (auto block = reader.next(); !block.empty(); block = reader.next())
                output.write(block.data(), block.size());
            output.close();
            for (const Relationship& each : part.getRelationships())
                relate(copy, each);
            report_.copied.push_back(name.toString());
        }
    }

    /// @param named what the caller asked for.
    CopyReport finish(const std::vector<PartName>& named) {
        std::set<std::u16string> reached; // in lower case
        const auto reach = [&](const model::RelationshipSource& source) {
            for (const Relationship& each : source.getRelationships())
                if (const auto path = pathOf(each); path && source.getSourceURI() != *path)
                    reached.insert(toLowerASCIIString(*path));
        };
        reach(to_);
        for (const Part& part : to_.getParts())
            reach(part);
        for (const std::u16string& name : report_.copied)
            findDangling(to_.getPart(name));
        for (const PartName& name : std::set<PartName>(named.begin(), named.end()))
            if (reached.count(toLowerASCIIString(name.toString())) == 0)
                report_.unrelated.push_back(from_.getPart(name).getName().toString());
        return std::move(report_);
    }

    CopyReport takeReport() { return std::move(report_); }
    bool hasConflicts() const { return !report_.conflicts.empty(); }

private:
    static void relate(Part& copy, const Relationship& relationship) {
        const std::u16string id = relationship.getID();
        const std::u16string target = relationship.getTarget();
        if (relationship.getTargetMode() == TargetMode::External)
            copy.createExternalRelationship(relationship.getType(), target, id);
        else if (copy.createInternalRelationship(relationship.getType(), target, id).getTarget() != target)
            copy.changeTarget(id, target); // an absolute one as it is written
    }

    void findDangling(const Part& part) {
        for (const Relationship& each : part.getRelationships())
            if (const auto path = pathOf(each); path && !(detail::isPartName(*path) && to_.hasPart(*path)))
                report_.dangling.push_back({part.getName().toString(), each.getID(), *path});
    }

    const Package& from_;
    Package& to_;
    std::set<PartName> names_;
    std::vector<PartName> missing_; ///< in the other package
    CopyReport report_;
};

} // namespace

CopyReport copyParts(const Package& from, Package& to, const std::vector<PartName>& names, const CopyOptions& options) {
    Copier copier(from, to);
    for (const PartName& name : names)
        copier.find(name, options.withTree);
    copier.compare();
    if (!copier.hasConflicts())
        copier.create();
    if (copier.hasConflicts())
        return copier.takeReport();
    copier.fill();
    return copier.finish(names);
}

} // namespace opc::edit
