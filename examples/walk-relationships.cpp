// SPDX-License-Identifier: Apache-2.0
// walk-relationships FILE: prints every part that can be reached from the package, once, as a tree.
#include <opc/opcraft.hpp>

#include <cstdlib>
#include <iostream>
#include <set>
#include <string>

namespace {

using opc::model::Package;
using opc::model::PartName;
using opc::model::RelationshipSource;

void walk(const Package& package, const RelationshipSource& source, std::set<PartName>& visited, std::size_t depth) {
    const std::string indent(2 * depth, ' ');
    for (const auto& relationship : source.relationships()) {
        const auto target = package.findTarget(relationship);
        if (!target) // out of the package, or to a part that is not there
            std::cout << indent << "-> " << opc::toUTF8(relationship.getTarget()) << '\n';
        else {
            std::cout << indent << target->getName() << '\n';
            if (visited.insert(target->getName()).second)
                walk(package, *target, visited, depth + 1);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: walk-relationships FILE\n";
        return EXIT_FAILURE;
    }
    try {
        opc::readPackage(argv[1], [](const Package& package) {
            std::set<PartName> visited;
            walk(package, package, visited, 0);
        });
        return EXIT_SUCCESS;
    } catch (const std::exception& e) {
        std::cerr << e.what() << '\n';
        return EXIT_FAILURE;
    }
}
