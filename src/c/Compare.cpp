// SPDX-License-Identifier: Apache-2.0
#include "c/Options.hpp"
#include "c/Package.hpp"
#include "c/Results.hpp"

#include <opc/compare/Compare.hpp>
#include <opc/core/ErrorPlace.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

namespace opc::c {

namespace {

using compare::DifferenceHunk;
using compare::DifferenceReport;
using compare::PartDifference;
using model::DigitalSignatureManager;

#define OPCRAFT_SAME_DIFFERENCE(Name, NAME) static_assert(static_cast<int>(compare::Name) == OPCRAFT_##NAME)
OPCRAFT_SAME_DIFFERENCE(DifferenceKind::Added, DIFFERENCE_ADDED);
OPCRAFT_SAME_DIFFERENCE(DifferenceKind::Removed, DIFFERENCE_REMOVED);
OPCRAFT_SAME_DIFFERENCE(DifferenceKind::Renamed, DIFFERENCE_RENAMED);
OPCRAFT_SAME_DIFFERENCE(DifferenceKind::Changed, DIFFERENCE_CHANGED);
OPCRAFT_SAME_DIFFERENCE(ContentDifference::None, CONTENT_SAME);
OPCRAFT_SAME_DIFFERENCE(ContentDifference::Xml, CONTENT_XML);
OPCRAFT_SAME_DIFFERENCE(ContentDifference::TooLarge, CONTENT_TOO_LARGE);
OPCRAFT_SAME_DIFFERENCE(ContentDifference::Bytes, CONTENT_BYTES);
OPCRAFT_SAME_DIFFERENCE(SignatureChange::Broken, SIGNATURE_BROKEN);
OPCRAFT_SAME_DIFFERENCE(SignatureChange::Removed, SIGNATURE_REMOVED);
OPCRAFT_SAME_DIFFERENCE(SignatureChange::Added, SIGNATURE_ADDED);
OPCRAFT_SAME_DIFFERENCE(SignatureChange::Mended, SIGNATURE_MENDED);
#undef OPCRAFT_SAME_DIFFERENCE

opcraft_difference_kind toKind(compare::DifferenceKind kind) {
    return static_cast<opcraft_difference_kind>(kind);
}

/// A package that is open for comparing, with its signatures where they can be read.
class ComparedInput {
public:
    ComparedInput(opcraft_store& store, bool hasSignatures, bool tolerant)
        : use_(store, interfaces::OpenMode::ReadOnly) {
        if (!hasSignatures || !openWithSignatures(tolerant))
            open(tolerant);
    }

    compare::ComparedPackage get() const { return {model_.get(), &*use_, signatures_.get()}; }
    /// Why its signatures cannot be read; empty when they can.
    const std::string& getProblem() const noexcept { return problem_; }

private:
    bool openWithSignatures(bool tolerant) {
        model_ = std::make_unique<model::Package>(*use_, use_.getLimits());
        signatures_ = std::make_unique<DigitalSignatureManager>(*model_, model::getAllSignatureForms(),
                                                                model::SignatureForm::Standard);
        try {
            openModel(tolerant);
            return true;
        } catch (const model::InvalidSignature& e) {
            const auto place = e.getPlace();
            problem_ = (place && !place->item.empty() ? place->item + ": " : std::string()) + e.what();
        }
        signatures_.reset();
        return false;
    }
    void open(bool tolerant) {
        model_ = std::make_unique<model::Package>(*use_, use_.getLimits());
        openModel(tolerant);
    }
    void openModel(bool tolerant) {
        FoundFindings ignored;
        if (tolerant)
            model_->open(interfaces::OpenMode::ReadOnly, ignored);
        else
            model_->open(interfaces::OpenMode::ReadOnly);
    }

    StoreUse use_;
    std::string problem_;
    std::unique_ptr<model::Package> model_;
    std::unique_ptr<DigitalSignatureManager> signatures_;
};

std::string unifiedDiff(const std::vector<DifferenceHunk>& hunks) {
    std::string text;
    for (const DifferenceHunk& hunk : hunks) {
        text += "@@ -" + std::to_string(hunk.firstBefore) + ',' + std::to_string(hunk.countBefore) + " +" +
                std::to_string(hunk.firstAfter) + ',' + std::to_string(hunk.countAfter) + " @@\n";
        for (const auto& [side, line] : hunk.lines)
            text.append(1, side).append(line).append(1, '\n');
    }
    return text;
}

void fillPart(opcraft_part_difference& entry, Pool& pool, const PartDifference& part, bool withoutLines) {
    const auto keep = [&](const std::string& text) { return pool.keep(std::string_view(text)); };
    entry.kind = toKind(part.kind);
    if (part.before) {
        entry.name_before = keep(part.before->name);
        entry.content_type_before = keep(part.before->contentType);
        entry.length_before = part.before->size;
        entry.sha256_before = keep(part.before->sha256);
    }
    if (part.after) {
        entry.name_after = keep(part.after->name);
        entry.content_type_after = keep(part.after->contentType);
        entry.length_after = part.after->size;
        entry.sha256_after = keep(part.after->sha256);
    }
    entry.content_type_differs = part.differsInType;
    entry.content = static_cast<opcraft_content_difference>(part.content);
    entry.lines_removed = part.linesRemoved;
    entry.lines_added = part.linesAdded;
    entry.lines = withoutLines ? nullptr : pool.keepOrNull(unifiedDiff(part.hunks));
    entry.reason = pool.keepOrNull(part.reason);
}

void fillRelationship(opcraft_relationship_difference& entry, Pool& pool, const compare::RelationshipDifference& of) {
    entry.kind = toKind(of.kind);
    entry.source = pool.keep(std::string_view(of.source));
    entry.id = pool.keep(std::string_view(of.id));
    entry.type = pool.keep(std::string_view(of.type));
    entry.target = pool.keep(std::string_view(of.target));
    entry.external = of.isExternal;
    entry.problem = pool.keepOrNull(of.problem);
}

void fillProperty(opcraft_property_difference& entry, Pool& pool, const compare::PropertyDifference& of) {
    entry.name = pool.keep(std::string_view(of.name));
    entry.before = of.before ? pool.keep(std::string_view(*of.before)) : nullptr;
    entry.after = of.after ? pool.keep(std::string_view(*of.after)) : nullptr;
}

void fillItem(opcraft_item_difference& entry, Pool& pool, const compare::ItemDifference& of) {
    entry.kind = toKind(of.kind);
    entry.name = pool.keep(std::string_view(of.name));
    entry.length_before = of.sizeBefore;
    entry.length_after = of.sizeAfter;
}

void fillSignature(opcraft_signature_difference& entry, Pool& pool, const compare::SignatureDifference& of) {
    entry.change = static_cast<opcraft_signature_change>(of.change);
    entry.part = pool.keep(std::string_view(of.part));
    entry.held_before = of.heldBefore;
    entry.holds_after = of.holdsAfter;
    entry.reason = pool.keepOrNull(of.reason);
}

std::unique_ptr<Result<opcraft_difference_report>> makeReport(const DifferenceReport& report, bool withoutLines) {
    auto result = makeResult<opcraft_difference_report>();
    Pool& pool = result->pool;
    const auto with = [&pool](auto fill) {
        return [&pool, fill](auto& entry, const auto& of) { fill(entry, pool, of); };
    };
    result->equal = report.isEqual();
    result->compared_parts = report.comparedParts;
    result->parts = pool.structures<opcraft_part_difference>(
        report.parts, result->part_count,
        [&](opcraft_part_difference& entry, const PartDifference& part) { fillPart(entry, pool, part, withoutLines); });
    result->relationships = pool.structures<opcraft_relationship_difference>(
        report.relationships, result->relationship_count, with(fillRelationship));
    result->properties =
        pool.structures<opcraft_property_difference>(report.properties, result->property_count, with(fillProperty));
    result->items = pool.structures<opcraft_item_difference>(report.items, result->item_count, with(fillItem));
    result->signatures =
        pool.structures<opcraft_signature_difference>(report.signatures, result->signature_count, with(fillSignature));
    return result;
}

opcraft_difference_report* comparePackages(opcraft_store& before, opcraft_store& after,
                                           const opcraft_compare_options& given) {
    compare::CompareOptions how;
    how.ignoresIds = given.ignore_ids;
    how.ignoresOrder = given.ignore_order;
    how.ignoresCoreProperties = given.ignore_core_properties;
    how.ignoresSignatures = given.ignore_signatures;
    std::vector<std::string> unread;
    const auto compareBoth = [&] {
        const ComparedInput first(before, !given.ignore_signatures, given.tolerant);
        const ComparedInput second(after, !given.ignore_signatures, given.tolerant);
        for (const ComparedInput* each : {&first, &second})
            if (!each->getProblem().empty())
                unread.push_back(each->getProblem());
        return compare::compare(first.get(), second.get(), how);
    };
    const DifferenceReport report = reportByStore(before, [&] { return reportByStore(after, compareBoth); });
    auto result = makeReport(report, given.without_lines);
    result->unread_signatures = result->pool.texts(unread, result->unread_signature_count);
    return result.release();
}

} // namespace

} // namespace opc::c

using namespace opc::c;

opcraft_difference_report* opcraft_compare(opcraft_store* before, opcraft_store* after,
                                           const opcraft_compare_options* options, opcraft_error** error) {
    return guarded(
        error, static_cast<opcraft_difference_report*>(nullptr),
        [&] {
            return comparePackages(required(before, "before"), required(after, "after"), read(options, "options"));
        });
}

void opcraft_difference_report_free(opcraft_difference_report* report) {
    freeResult(report);
}
