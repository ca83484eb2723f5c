// SPDX-License-Identifier: Apache-2.0
// set-properties FILE TITLE: gives a package a title, says that it was modified now, and keeps its other properties.
#include <opc/opcraft.hpp>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <cstdlib>
#include <iostream>

using opc::model::PackageHelper;

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: set-properties FILE TITLE\n";
        return EXIT_FAILURE;
    }
    try {
        opc::editPackage(argv[1], [title = argv[2]](opc::model::Package& package) {
            const auto type = PackageHelper::findCorePropertiesRelationshipType(package);
            auto properties = PackageHelper::getCoreProperties(package, type);
            properties.setTitle(title);
            properties.setModified(boost::posix_time::second_clock::universal_time());
            PackageHelper::createOrUpdateCoreProperties(package, properties, type);
        });
        return EXIT_SUCCESS;
    } catch (const std::exception& e) {
        std::cerr << e.what() << '\n'; // the file is as it was
        return EXIT_FAILURE;
    }
}
