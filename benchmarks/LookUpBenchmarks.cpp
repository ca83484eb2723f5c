// SPDX-License-Identifier: Apache-2.0
#include "Benchmarks.hpp"
#include "ManyParts.hpp"

#include <opc/model/Package.hpp>
#include <opc/model/Part.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

namespace opc::benchmarks {

namespace {

constexpr std::size_t parts = 10000;

class OpenPackage {
public:
    OpenPackage() : zip_(manyParts(parts)), package_(zip_) {
        package_.open(interfaces::OpenMode::ReadOnly);
        for (std::size_t number = 0; number < parts; number += 10) // those with relationships
            names_.emplace_back(nameOfPart(number));
        for (const model::PartName& name : names_)
            related_.push_back(package_.getPart(name));
    }

    model::Package& package() { return package_; }
    const model::PartName& name(std::size_t number) const { return names_[number % names_.size()]; }
    const model::Part& related(std::size_t number) const { return related_[number % related_.size()]; }

private:
    storage::ZipPackage zip_;
    model::Package package_;
    std::vector<model::PartName> names_;
    std::vector<model::Part> related_;
};

/// Looks up another thing each time, far from the last.
template <class LookUp>
void registerLookUp(const std::string& name, LookUp lookUp) {
    benchmark::RegisterBenchmark(
        name.c_str(),
        [lookUp](benchmark::State& state) {
            OpenPackage opened;
            std::size_t number = 0;
            for ([[maybe_unused]] auto iteration : state) {
                benchmark::DoNotOptimize(lookUp(opened, number));
                number += 337;
            }
        });
}

} // namespace

void registerLookUps() {
    registerLookUp(
        "look up a part among 10000",
        [](OpenPackage& opened, std::size_t number) { return opened.package().getPart(opened.name(number)); });
    registerLookUp(
        "ask for a part among 10000",
        [](OpenPackage& opened, std::size_t number) { return opened.package().hasPart(opened.name(number)); });
    registerLookUp(
        "look up a part by its text among 10000",
        [](OpenPackage& opened, std::size_t number) {
            return opened.package().getPart(opened.name(number).toString());
        });
    registerLookUp(
        "look up a relationship by ID",
        [](OpenPackage& opened, std::size_t number) { return opened.related(number).getRelationshipByID(u"rId3"); });
    registerLookUp(
        "look up relationships by type",
        [](OpenPackage& opened, std::size_t number) {
            return opened.related(number).getRelationshipsByType(u"http://example.org/relationships/page");
        });
    registerLookUp("list all 10000 parts",
                   [](OpenPackage& opened, std::size_t /*number*/) { return opened.package().getParts(); });
}

} // namespace opc::benchmarks
