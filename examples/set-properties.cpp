// SPDX-License-Identifier: Apache-2.0
// set-properties FILE TITLE: gives a package a title, says that it was modified now, and keeps its other properties.
#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <cstdlib>
#include <iostream>

using opc::model::PackageHelper;

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: SPDX-License-Identifier\n";
        return EXIT_FAILURE;
    }
    try {
        opc::storage::ZipPackage file(argv[1]);
        opc::model::Package package(file);
        package.open(opc::interfaces::OpenMode::ReadWrite);

        const auto type = PackageHelper::findCorePropertiesRelationshipType(package);
        auto properties = PackageHelper::getCoreProperties(package, type);
        properties.setTitle(opc::toString(argv[2]));
        properties.setModified(boost::posix_time::second_clock::universal_time());
        PackageHelper::createOrUpdateCoreProperties(package, properties, type);

        package.close();
        return EXIT_SUCCESS;
    } catch (const opc::Exception& e) {
        std::cerr << e.what() << '\n'; // the file is as it was
        return EXIT_FAILURE;
    }
}
