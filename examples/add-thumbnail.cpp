// SPDX-License-Identifier: Apache-2.0
// add-thumbnail FILE IMAGE.png: makes a PNG image the thumbnail of a package that has none.
#include <opc/opcraft.hpp>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

using opc::model::PackageHelper;

namespace {

/// The whole image. What is no PNG image is refused, for the content type says that it is one.
std::vector<unsigned char> readPng(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    if (!file)
        throw std::runtime_error(name + ": cannot be opened");
    const std::vector<unsigned char> bytes{std::istreambuf_iterator<char>(file), {}};
    constexpr unsigned char signature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (bytes.size() <= sizeof signature || !std::equal(std::begin(signature), std::end(signature), bytes.begin()))
        throw std::runtime_error(name + ": not a PNG image");
    return bytes;
}

void addThumbnail(opc::model::Package& package, const std::vector<unsigned char>& image) {
    const auto type = PackageHelper::getThumbnailRelationshipType();
    if (!package.getRelationshipsByType(type).empty())
        throw std::runtime_error("the package has a thumbnail already");
    const auto name = PackageHelper::getThumbnailURI("png");
    // A PNG image is compressed already, so it is stored as it is.
    writeBytes(package.createPart(name, "image/png", opc::interfaces::CompressionType::None), image);
    package.createInternalRelationship(type, name);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: add-thumbnail FILE IMAGE.png\n";
        return EXIT_FAILURE;
    }
    try {
        const auto image = readPng(argv[2]);
        opc::editPackage(argv[1], [&image](opc::model::Package& package) { addThumbnail(package, image); });
        return EXIT_SUCCESS;
    } catch (const std::exception& e) { // of which opc::Exception is one
        std::cerr << e.what() << '\n';  // the file is as it was
        return EXIT_FAILURE;
    }
}
