// SPDX-License-Identifier: Apache-2.0
#include "opcraft/Thumbnails.hpp"

#include "opcraft/Failure.hpp"
#include "opcraft/ImageType.hpp"
#include "opcraft/Names.hpp"
#include "opcraft/Relationships.hpp"
#include "opcraft/Targets.hpp"
#include "opcraft/Text.hpp"
#include "opcraft/Tool.hpp"

#include <opc/core/OutputStream.hpp>
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/StandardPartInfo.hpp>
#include <opc/model/coreproperties/PackageHelper.hpp>

namespace opcraft {

namespace {

using opc::model::PackageHelper;
using opc::model::Part;
using opc::model::URI;
using Json = nlohmann::ordered_json;

std::uint64_t sizeOf(const Part& part, const OpenPackage& package) {
    for (const opc::storage::ZipItem& item : package.getInput().getZip().getItems())
        if (part.getName() == item.partName)
            return item.size;
    return 0;
}

std::string nameOf(const ThumbnailEntry& entry) {
    if (entry.part)
        return toUtf8(entry.part->getName().toString());
    return entry.target + (entry.isExternal ? " (external)" : " (missing)");
}

std::string contentTypeOf(const Part& part) {
    return toUtf8(part.getContentType().toString());
}

/// "/metadata/thumbnail.png", then "/metadata/thumbnail.2.png" and so on.
URI nameFor(const ImageType& type, std::size_t number) {
    const std::u16string prefix = number == 1 ? u"" : toUtf16(std::to_string(number) + '.');
    return PackageHelper::getThumbnailURI(prefix + type.extension);
}

/// A name is taken by a part, and also by an item that is no part, and by a part that has it as a folder.
Part createThumbnail(OpenPackage& package, const ImageType& type, std::size_t size) {
    const opc::model::StandardPartInfo info(type.compression, size);
    const std::size_t last = package.getInput().getZip().getItems().size() + 1;
    for (std::size_t number = 1; number < last; ++number)
        try {
            return package.getModel().createPart(nameFor(type, number), type.contentType, info);
        } catch (const opc::model::PartAlreadyExists&) { // NOLINT(bugprone-empty-catch): the next name is tried
        } catch (const opc::model::PartIsDerivedFromExistingPartName&) { // NOLINT(bugprone-empty-catch)
        } catch (const opc::model::PartCreateFailed&) {                  // NOLINT(bugprone-empty-catch)
        }
    return package.getModel().createPart(nameFor(type, last), type.contentType, info);
}

} // namespace

std::vector<ThumbnailEntry> findThumbnails(OpenPackage& package) {
    const std::string type = toUtf8(PackageHelper::getThumbnailRelationshipType());
    std::vector<ThumbnailEntry> thumbnails;
    for (const RelationshipEntry& each : entriesOf(package.getModel(), package.getPartKeys())) {
        if (each.type != type)
            continue;
        const auto relationship = package.getModel().getRelationshipByID(opc::toString(each.id));
        ThumbnailEntry entry{each.id, each.target, each.isExternal, findTarget(package, relationship)};
        if (entry.part)
            entry.size = sizeOf(*entry.part, package);
        thumbnails.push_back(entry);
    }
    return thumbnails;
}

std::string toText(const std::vector<ThumbnailEntry>& thumbnails) {
    if (thumbnails.empty())
        return "No thumbnail.\n";
    Table table({{"ID"}, {"SIZE", Table::Align::Right}, {"NAME"}, {"TYPE"}});
    for (const ThumbnailEntry& entry : thumbnails)
        table.addRow({entry.id, entry.part ? std::to_string(entry.size) : "-", nameOf(entry),
                      entry.part ? contentTypeOf(*entry.part) : "-"});
    return table.toString();
}

nlohmann::ordered_json toJson(const std::vector<ThumbnailEntry>& thumbnails, const std::string& file) {
    Json json = makeJsonReport("thumbnail", file);
    json["thumbnails"] = Json::array();
    for (const ThumbnailEntry& entry : thumbnails)
        json["thumbnails"].push_back({{"id", entry.id},
                                      {"target", entry.target},
                                      {"mode", entry.isExternal ? "external" : "internal"},
                                      {"part", entry.part ? Json(nameOf(entry)) : Json()},
                                      {"contentType", entry.part ? Json(contentTypeOf(*entry.part)) : Json()},
                                      {"size", entry.part ? Json(entry.size) : Json()}});
    return json;
}

void setThumbnail(OpenPackage& package, const std::string& imageName, const std::vector<unsigned char>& image) {
    const ImageType* type = findImageType(image);
    if (type == nullptr)
        throw Failure(ExitCode::NotProcessed, imageName, "",
                      std::string("this is no image of a known kind, which are ") + IMAGE_TYPE_NAMES);
    removeThumbnails(package);
    const Part part = createThumbnail(package, *type, image.size());
    opc::OutputStream& stream = *part.getOutputStream();
    stream.write(image.data(), image.size());
    stream.close();
    package.getModel().createInternalRelationship(PackageHelper::getThumbnailRelationshipType(),
                                                  part.getName().getURI());
}

bool removeThumbnails(OpenPackage& package) {
    return removeWithTargets(package, PackageHelper::getThumbnailRelationshipType());
}

} // namespace opcraft
