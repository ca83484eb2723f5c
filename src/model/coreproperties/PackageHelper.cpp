// SPDX-License-Identifier: Apache-2.0
#include <opc/model/coreproperties/PackageHelper.hpp>

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include "errors/ErrorPlaces.hpp"
#include "model/ItemBytes.hpp"
#include "model/WellKnown.hpp"
#include "model/coreproperties/CorePropertiesSerializer.hpp"

#include <iterator>
#include <optional>

namespace opc::model {

namespace {

Part targetOf(const Package& package, const Relationship& relationship) {
    return package.getPart(PartName(relationship.getTargetURI()));
}

/// The part of the first relationship of the type.
std::optional<Part> findCoreProperties(const Package& package, const std::u16string& type) {
    const auto relationships = package.getRelationshipsByType(type);
    if (relationships.empty())
        return std::nullopt;
    return targetOf(package, relationships.front());
}

/// Deletes a new part and the one relationship to it: without its content it could not be read, without the relation it
/// would block the next attempt. The original error is the one that is reported.
void takeBack(Package& package, const std::u16string& type, const PartName& name) noexcept {
    try {
        if (package.isCreateOnly())
            return;
        for (const Relationship& each : package.getRelationshipsByType(type))
            package.deleteRelationship(each.getID());
        package.deletePart(name);
    } catch (...) { // NOLINT(bugprone-empty-catch)
    }
}

void createCoreProperties(Package& package, const std::u16string& type, const std::vector<unsigned char>& bytes) {
    const PartName name(PackageHelper::getCorePropertiesURI());
    const ContentType contentType = PackageHelper::getCorePropertiesContentType();
    // In a created package nothing is deleted: the part of an attempt whose relationship failed still exists.
    const bool isLeft =
        package.isCreateOnly() && package.hasPart(name) && package.getPart(name).getContentType() == contentType;
    Part part = isLeft ? package.getPart(name) : package.createPart(name, contentType, StandardPartInfo());
    try {
        package.createInternalRelationship(type, name.getURI());
        replaceItem(*part.getOutputStream(), bytes);
    } catch (...) {
        takeBack(package, type, name);
        throw;
    }
}

void deleteFrom(RelationshipSource& source, Package& package, const std::u16string& type) {
    for (const Relationship& relationship : source.getRelationshipsByType(type)) {
        source.deleteRelationship(relationship.getID());
        package.deletePart(PartName(relationship.getTargetURI()));
    }
}

bool update(Package& package, const CoreProperties& properties, const std::set<const CoreProperty*>& changed,
            const std::u16string& type, const Reading& reading) {
    const auto existing = findCoreProperties(package, type);
    if (!existing) {
        if (!properties.isEmpty())
            PackageHelper::createOrUpdateCoreProperties(package, properties, type);
        return !properties.isEmpty();
    }
    if (package.isReadOnly())
        throw PackageReadOnly("Package is read-only");
    const auto stored = readXmlItem(*existing->getInputStream(), package.getLimits().xmlSize);
    const auto bytes = CorePropertiesSerializer(package.getLimits())
                           .update(stored, properties, changed, reading, toASCIIString(existing->getName().toString()));
    if (!bytes)
        return false;
    replaceItem(*existing->getOutputStream(), *bytes);
    return true;
}

} // namespace

URI PackageHelper::getPackageRootURI() {
    return u"/";
}

URI PackageHelper::getCorePropertiesURI() {
    return u"/metadata/coreProperties.xml";
}

URI PackageHelper::getThumbnailURI(const std::u16string& extension) {
    std::u16string name = u"/metadata/thumbnail";
    if (!extension.empty() && extension.front() != URI::getDot())
        name += URI::getDot();
    return name + extension;
}

ContentType PackageHelper::getRelationshipContentType() {
    return wellknown::RELATIONSHIPS_CONTENT_TYPE;
}

ContentType PackageHelper::getCorePropertiesContentType() {
    return wellknown::CORE_PROPERTIES_CONTENT_TYPE;
}

std::u16string PackageHelper::getCorePropertiesRelationshipType() {
    return wellknown::CORE_PROPERTIES_RELATIONSHIP_TYPE;
}

std::u16string PackageHelper::getThumbnailRelationshipType() {
    return wellknown::THUMBNAIL_RELATIONSHIP_TYPE;
}

std::vector<std::u16string> PackageHelper::getCorePropertiesRelationshipTypes() {
    std::vector<std::u16string> types{wellknown::CORE_PROPERTIES_RELATIONSHIP_TYPE};
    types.insert(types.end(), std::begin(wellknown::OTHER_CORE_PROPERTIES_RELATIONSHIP_TYPES),
                 std::end(wellknown::OTHER_CORE_PROPERTIES_RELATIONSHIP_TYPES));
    return types;
}

std::u16string PackageHelper::findCorePropertiesRelationshipType(const Package& package) {
    for (const std::u16string& type : getCorePropertiesRelationshipTypes())
        if (!package.getRelationshipsByType(type).empty())
            return type;
    return wellknown::CORE_PROPERTIES_RELATIONSHIP_TYPE;
}

CoreProperties PackageHelper::getCoreProperties(const Package& package) {
    return getCoreProperties(package, wellknown::CORE_PROPERTIES_RELATIONSHIP_TYPE);
}

CoreProperties PackageHelper::getCoreProperties(const Package& package, const std::u16string& type, FindingSink& sink) {
    CoreProperties properties;
    if (const auto part = findCoreProperties(package, type))
        CorePropertiesSerializer(package.getLimits())
            .load(readXmlItem(*part->getInputStream(), package.getLimits().xmlSize), properties, Reading(&sink, false),
                  toASCIIString(part->getName().toString()));
    return properties;
}

CoreProperties PackageHelper::getCoreProperties(const Package& package, const std::u16string& type) {
    CoreProperties properties;
    if (const auto part = findCoreProperties(package, type)) {
        const auto bytes = readXmlItem(*part->getInputStream(), package.getLimits().xmlSize);
        try {
            CorePropertiesSerializer(package.getLimits()).load(bytes, properties);
        } catch (InvalidPartContent& e) {
            e.setPlace(placeInItem(e, toASCIIString(part->getName().toString())));
            throw;
        }
    }
    return properties;
}

void PackageHelper::createOrUpdateCoreProperties(Package& package, const CoreProperties& properties) {
    createOrUpdateCoreProperties(package, properties, wellknown::CORE_PROPERTIES_RELATIONSHIP_TYPE);
}

void PackageHelper::createOrUpdateCoreProperties(Package& package, const CoreProperties& properties,
                                                 const std::u16string& type) {
    const auto existing = findCoreProperties(package, type);
    if (package.isReadOnly())
        throw PackageReadOnly("Package is read-only");
    // The bytes come first, so that properties that cannot be written create nothing.
    const std::vector<unsigned char> bytes = CorePropertiesSerializer(package.getLimits()).save(properties);
    if (existing)
        replaceItem(*existing->getOutputStream(), bytes);
    else
        createCoreProperties(package, type, bytes);
}

bool PackageHelper::updateCoreProperties(Package& package, const CoreProperties& properties,
                                         const std::set<const CoreProperty*>& changed, const std::u16string& type) {
    return update(package, properties, changed, type, Reading());
}

bool PackageHelper::updateCoreProperties(Package& package, const CoreProperties& properties,
                                         const std::set<const CoreProperty*>& changed, const std::u16string& type,
                                         FindingSink& sink) {
    return update(package, properties, changed, type, Reading(&sink, false));
}

void PackageHelper::deleteCoreProperties(Package& package) {
    deleteRelationshipsAndTargets(package, wellknown::CORE_PROPERTIES_RELATIONSHIP_TYPE);
}

void PackageHelper::deleteRelationshipsAndTargets(Package& package, const std::u16string& type) {
    deleteFrom(package, package, type);
}

void PackageHelper::deleteRelationshipsAndTargets(Package& package, Part& part, const std::u16string& type) {
    deleteFrom(part, package, type);
}

} // namespace opc::model
