// SPDX-License-Identifier: Apache-2.0
#include "ManyParts.hpp"

#include "Workspace.hpp"

#include <opc/core/OutputStream.hpp>
#include <opc/core/Strings.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/Part.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/storage/zip/ZipPackage.hpp>

#include <map>
#include <string_view>

namespace opc::benchmarks {

namespace {

constexpr std::size_t partsPerFolder = 100;
constexpr std::size_t relatedEvery = 10;
constexpr std::string_view pageType = "http://example.org/relationships/page";

std::u16string wide(std::string_view ascii) {
    return std::u16string(ascii.begin(), ascii.end());
}

std::string bodyOfPart(std::size_t number) {
    std::string body = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<page xmlns=\"http://example.org/page\">";
    for (std::size_t line = 0; line < 5; ++line)
        body += "<line number=\"" + std::to_string(line) + "\">This is what page " + std::to_string(number) +
                " says.</line>";
    return body + "</page>\n";
}

void relate(model::Part& part, std::size_t number, std::size_t parts) {
    for (std::size_t step = 1; step < relationshipsPerPart; ++step)
        part.createInternalRelationship(wide(pageType), nameOfPart((number + step) % parts));
    part.createExternalRelationship(u"http://example.org/relationships/web",
                                    wide("https://example.org/pages?number=" + std::to_string(number)));
}

void add(model::Package& package, std::size_t number, const std::vector<std::string>& bodies) {
    static const model::ContentType usual(u"application/xml");
    static const model::ContentType special(u"application/vnd.example.page+xml");
    model::Part part =
        package.createPart(nameOfPart(number), number % 2 == 0 ? usual : special, model::StandardPartInfo());
    const std::string& body = bodies[number];
    OutputStream& stream = *part.getOutputStream();
    stream.write(reinterpret_cast<const unsigned char*>(body.data()), body.size());
    stream.close();
    if (number % relatedEvery == 0)
        relate(part, number, bodies.size());
}

} // namespace

std::u16string nameOfPart(std::size_t number) {
    return wide("/folder" + std::to_string(number / partsPerFolder) + "/page" + std::to_string(number) + ".xml");
}

std::size_t countOfRelated(std::size_t parts) {
    return (parts + relatedEvery - 1) / relatedEvery;
}

std::vector<std::string> bodiesOfParts(std::size_t parts) {
    std::vector<std::string> bodies;
    for (std::size_t number = 0; number < parts; ++number)
        bodies.push_back(bodyOfPart(number));
    return bodies;
}

void createManyParts(const std::filesystem::path& file, const std::vector<std::string>& bodies) {
    storage::ZipPackage zip(file);
    model::Package package(zip);
    package.open(interfaces::OpenMode::CreateOnly);
    package.createInternalRelationship(wide(pageType), nameOfPart(0));
    for (std::size_t number = 0; number < bodies.size(); ++number)
        add(package, number, bodies);
    package.close();
}

const std::filesystem::path& manyParts(std::size_t parts) {
    static std::map<std::size_t, std::filesystem::path> files;
    const auto [place, isNew] = files.try_emplace(parts);
    if (isNew) {
        place->second = workFile(std::to_string(parts) + "-parts.zip");
        createManyParts(place->second, bodiesOfParts(parts));
    }
    return place->second;
}

} // namespace opc::benchmarks
