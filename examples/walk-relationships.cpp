// SPDX-License-Identifier: Apache-2.0
// walk-relationships FILE: prints every part that can be reached from the package, once, as a tree.
#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/model/Package.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <cstdlib>
#include <iostream>
#include <set>
#include <string>

namespace {

void walk(const opc::model::Package& package, const opc::model::RelationshipSource& source,
          std::set<opc::model::PartName>& visited, std::size_t depth) {
    const std::string indent(2 * depth, ' ');
    for (const auto& relationship : source.getRelationships()) {
        if (relationship.getTargetMode() == opc::model::TargetMode::External) {
            std::cout << indent << "-> " << opc::detail::toUTF8String(relationship.getTarget()) << '\n';
            continue;
        }
        // The path alone names the part; a fragment says what of it is meant.
        const opc::model::PartName target(relationship.getTargetURI().getPath());
        std::cout << indent << opc::toASCIIString(target.toString()) << '\n';
        if (package.hasPart(target) && visited.insert(target).second)
            walk(package, package.getPart(target), visited, depth + 1);
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: SPDX-License-Identifier\n";
        return EXIT_FAILURE;
    }
    try {
        opc::storage::ZipPackage file(argv[1]);
        opc::model::Package package(file);
        package.open(opc::interfaces::OpenMode::ReadOnly);
        std::set<opc::model::PartName> visited;
        walk(package, package, visited, 0);
        return EXIT_SUCCESS;
    } catch (const opc::Exception& e) {
        std::cerr << e.what() << '\n';
        return EXIT_FAILURE;
    }
}
