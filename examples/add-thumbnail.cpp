// SPDX-License-Identifier: Apache-2.0
// add-thumbnail FILE IMAGE.png: makes a PNG image the thumbnail of a package that has none.
#include <opc/core/Exception.hpp>
#include <opc/core/OutputStream.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>

using opc::model::PackageHelper;

int main(int argc, char** argv) {
    if (argc != 3)
        return EXIT_FAILURE;
    std::ifstream image(argv[2], std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(image), {}};
    try {
        opc::storage::ZipPackage file(argv[1]);
        opc::model::Package package(file);
        package.open(opc::interfaces::OpenMode::ReadWrite);

        const auto name = PackageHelper::getThumbnailURI(u"png");
        // A PNG image is compressed already, so it is stored as it is.
        const auto thumbnail = package.createPart(
            name, u"image/png", opc::model::StandardPartInfo(opc::interfaces::CompressionType::None, bytes.size()));
        auto* stream = thumbnail.getOutputStream();
        stream->write(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
        stream->close();
        package.createInternalRelationship(PackageHelper::getThumbnailRelationshipType(), name);

        package.close();
        return EXIT_SUCCESS;
    } catch (const opc::Exception& e) {
        std::cerr << e.what() << '\n'; // the file is as it was
        return EXIT_FAILURE;
    }
}
