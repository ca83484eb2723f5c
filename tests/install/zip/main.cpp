// SPDX-License-Identifier: Apache-2.0
// Creates a package in a file and reads it back; catches an error of the library by its class.
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <cstdlib>
#include <iostream>

int main() {
    opc::storage::ZipPackage file("consumer.zip");
    opc::model::Package package(file);
    package.open(opc::interfaces::OpenMode::CreateOnly);
    package.createPart(u"/a.xml", u"application/xml", opc::model::StandardPartInfo());
    package.close();
    package.open(opc::interfaces::OpenMode::ReadOnly);
    if (!package.hasPart(u"/A.xml"))
        return EXIT_FAILURE;
    try {
        package.getPart(u"/b.xml");
        return EXIT_FAILURE;
    } catch (const opc::model::PartNotFound& e) {
        std::cout << "As expected: " << e.what() << '\n';
    }
    return EXIT_SUCCESS;
}
