// SPDX-License-Identifier: Apache-2.0
// Any bytes opened as a ZIP package in which something may be wrong, examined and repaired. The input is the file.
#include <opc/lint/Lint.hpp>
#include <opc/lint/Repair.hpp>
#include <opc/model/Package.hpp>
#include <opc/storage/zip/ZipPackage.hpp>
#include <opc/xml/XercesGuard.hpp>

#include "Fuzz.hpp"

namespace {

using opc::fuzz::accepted;
using opc::fuzz::Bytes;
using opc::interfaces::OpenMode;
using opc::model::Package;
using opc::storage::ZipOptions;
using opc::storage::ZipPackage;
using Take = ZipOptions::Take;

/// No input of a fuzzer needs more.
opc::Limits limits() {
    opc::Limits result;
    result.totalSize = 32ULL * 1024 * 1024;
    result.xmlSize = 256ULL * 1024;
    return result;
}

ZipOptions optionsWith(Take take) {
    ZipOptions options;
    options.limits = limits();
    options.take = take;
    return options;
}

bool blocks(const opc::Finding& finding) {
    return finding.blocks;
}

struct Findings final : opc::FindingSink {
    void found(const opc::Finding& finding) override {
        isBlocked = isBlocked || blocks(finding);
        ++count;
    }
    bool isBlocked = false;
    std::size_t count = 0;
};

bool opensStrictly(Bytes bytes) {
    ZipPackage zip(bytes, optionsWith(Take::Neither));
    Package package(zip, limits());
    return accepted([&] { package.open(OpenMode::ReadOnly); });
}

/// A package in which nothing that blocks is found opens strictly, and one that does not open so has something that
/// blocks, or cannot be read at all. To open it changes nothing.
void openTolerantly(Bytes bytes, bool isStrict, Take take) {
    const Bytes before = bytes;
    ZipPackage zip(bytes, optionsWith(take));
    Package package(zip, limits());
    Findings findings;
    const bool opens = accepted([&] { package.open(OpenMode::ReadWrite, findings); });
    OPCRAFT_REQUIRE(isStrict == (opens && !findings.isBlocked));
    if (opens)
        package.close();
    OPCRAFT_REQUIRE(bytes == before);
}

/// What is found has the same verdict.
/// @return whether the package was examined and nothing is wrong with it.
bool isClean(Bytes bytes, bool isStrict, Take take) {
    ZipPackage zip(bytes, optionsWith(take));
    opc::lint::Options options;
    options.limits = limits();
    std::vector<opc::Finding> all;
    if (!accepted([&] { all = opc::lint::examine(zip, options); }))
        return false;
    OPCRAFT_REQUIRE(isStrict == std::none_of(all.begin(), all.end(), blocks));
    return all.empty();
}

opc::lint::RepairOptions repairOptions(Take take, bool deletes) {
    opc::lint::RepairOptions options;
    options.limits = limits();
    options.breaksSignatures = true;
    if (take != Take::Neither)
        options.take = take == Take::First ? opc::lint::Duplicate::First : opc::lint::Duplicate::Last;
    if (deletes)
        for (const opc::Rule& rule : opc::getAllRules())
            options.only.insert(rule.id);
    return options;
}

/// To repair twice is to repair once, and nothing is changed without a step, of which there is none when all is right.
void repair(const Bytes& file, Take take, bool deletes, bool isRight) {
    const opc::lint::RepairOptions options = repairOptions(take, deletes);
    Bytes once = file;
    ZipPackage zip(once, optionsWith(take));
    opc::lint::RepairPlan plan;
    if (!accepted([&] { plan = opc::lint::applyRepair(zip, options); })) {
        OPCRAFT_REQUIRE(once == file);
        return;
    }
    OPCRAFT_REQUIRE(plan.applies() == (once != file));
    OPCRAFT_REQUIRE(!isRight || plan.steps.empty());
    Bytes twice = once;
    ZipPackage repaired(twice, optionsWith(take));
    OPCRAFT_REQUIRE(accepted([&] { plan = opc::lint::applyRepair(repaired, options); }));
    OPCRAFT_REQUIRE(!plan.applies() && twice == once);
}

const auto target = opc::fuzz::targets().emplace("lint", [](const Bytes& file) {
    static const opc::model::XercesGuard guard;
    const bool isStrict = opensStrictly(file);
    for (const Take take : {Take::Neither, Take::First, Take::Last})
        openTolerantly(file, isStrict, take);
    isClean(file, isStrict, Take::Neither);
    const bool isRight = isClean(file, isStrict, Take::Last);
    repair(file, Take::Neither, false, isRight);
    repair(file, Take::Last, false, isRight);
    repair(file, Take::Last, true, isRight);
});

} // namespace
