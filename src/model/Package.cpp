// SPDX-License-Identifier: Apache-2.0
#include <opc/model/Package.hpp>

#include <opc/core/Strings.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/DataManager.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include "model/ContentTypeSource.hpp"
#include "model/PackageGuards.hpp"
#include "model/PartNameTree.hpp"
#include "model/WellKnown.hpp"
#include "model/relationships/RelationshipSerializer.hpp"

#include <boost/system/error_code.hpp>

#include <algorithm>
#include <optional>
#include <utility>

namespace opc::model {

namespace {

namespace errc = boost::system::errc;

std::string leftBehind(const PartName& name, const std::string& reason) {
    return withName("The relationships part of a deleted part was not deleted: ", name) + ": " + reason;
}

} // namespace

Package::Package(interfaces::IPhysicalPackage& physicalPackage, const Limits& limits)
    : RelationshipSource(URI(PartName::FORWARD_SLASH_STRING)), physicalPackage_(physicalPackage), limits_(limits),
      prefixes_(std::make_unique<PartNameTree>()) {}

Package::~Package() {
    try {
        close(true);
    } catch (...) {
        clear();
    }
}

bool Package::isValid() const {
    return true;
}

bool Package::isOpen() const {
    return isOpen_;
}

bool Package::isReadOnly() const {
    return mode_ == interfaces::OpenMode::ReadOnly;
}

bool Package::isCreateOnly() const {
    return mode_ == interfaces::OpenMode::CreateOnly;
}

Package& Package::getPackage() const {
    return const_cast<Package&>(*this);
}

void Package::doVerifyRelationship(const std::u16string& /*id*/, const std::u16string& type,
                                   const std::u16string& /*target*/) {
    if (type == wellknown::CORE_PROPERTIES_RELATIONSHIP_TYPE)
        throwIfTooManyCorePropertiesRelationships(0);
}

void Package::close(bool discard) {
    if (!isOpen_)
        return;
    if (!isReadOnly() && !discard)
        flush();
    try {
        physicalPackage_.close(discard);
    } catch (const Exception& e) {
        if (e.code() == errc::permission_denied)
            throw PackagePermissionDenied(e.what());
        throw PackageCloseFailed(e.what(), e.code());
    }
    clear();
}

void Package::abandon() noexcept {
    try {
        physicalPackage_.close(true);
    } catch (...) { // NOLINT(bugprone-empty-catch): the error that led here is the one that is reported
    }
    clear();
}

void Package::clear() noexcept {
    clearParts();
    orphans_.clear();
    hidden_.clear();
    leftOut_.clear();
    reset();
    contentTypeSource_.reset();
    relationshipSerializer_.reset();
    isOpen_ = false;
}

void Package::clearParts() noexcept {
    for (auto& entry : parts_)
        entry.second.markAsInvalid();
    parts_.clear();
    prefixes_->clear();
}

void Package::flush() {
    throwIfNotOpen();
    throwIfReadOnly();
    flushPackage();
    flushParts();
}

void Package::flushPackage() {
    forEachDataManager([](DataManager& manager) { manager.flush(); });
    deleteOrphans();
    contentTypeSource_->save();
    RelationshipSource::flush();
}

void Package::flushParts() {
    for (auto& entry : parts_)
        entry.second.flush();
}

Part Package::createPart(const PartName& name, const ContentType& contentType,
                         const interfaces::IPhysicalPartInfo& info) {
    throwIfNotOpen();
    throwIfReadOnly();
    throwIfNotReadable(name);
    throwIfRelationshipName(name);
    throwIfPartAlreadyExists(name);
    throwIfDerivedFromExistingPartName(name);
    throwIfPackageRoot(name);
    throwIfNotReadable(contentType);
    // All that may fail for lack of memory comes before the store is called, so that it has no part unknown here.
    const std::u16string key = PartNameTree::keyOf(name);
    Part part(this, nullptr, name, contentType, mode_);
    PartMap node;
    node.emplace(name, part);
    prefixes_->add(key);
    try {
        part.setPhysicalPart(createPartInternal(name, contentType, info));
    } catch (...) {
        prefixes_->remove(key);
        throw;
    }
    parts_.merge(node);
    return part;
}

Part Package::createPart(const PartName& name, const ContentType& contentType,
                         interfaces::CompressionType compression) {
    return createPart(name, contentType, StandardPartInfo(compression));
}

interfaces::IPhysicalPart* Package::createPartInternal(const PartName& name, const ContentType& contentType,
                                                       const interfaces::IPhysicalPartInfo& info) {
    tryToDeleteOrphans();
    throwIfOrphan(name);
    throwIfLeftOut(name);
    try {
        ContentTypeSource::Addition addition = contentTypeSource_->prepareAddition(name, contentType);
        interfaces::IPhysicalPart* const physicalPart =
            physicalPackage_.createPart(name.toString(), contentType.toString(), info);
        contentTypeSource_->add(std::move(addition));
        return physicalPart;
    } catch (const Exception& e) {
        throw PartCreateFailed(e.what());
    }
}

void Package::deletePart(const PartName& name) {
    throwIfNotOpen();
    throwIfReadOnly();
    throwIfCreateOnly();
    Part part = findPart(name);
    // All that may fail for lack of memory comes before the store is called, so that it has every part known here.
    const auto entry = parts_.find(name);
    const std::u16string key = PartNameTree::keyOf(entry->first);
    const PartName stored = storedNameOf(*part.getPhysicalPart());
    Names relationships;
    if (const auto* physicalPart = part.getPhysicalRelationshipPart())
        relationships.push_back(storedNameOf(*physicalPart));
    tryToDeleteOrphans();
    deletePartInternal(stored);
    part.markAsInvalid();
    parts_.erase(entry);
    prefixes_->remove(key);
    if (!relationships.empty())
        deleteRelationshipsOfDeleted(relationships);
}

void Package::deleteRelationshipsOfDeleted(Names& relationships) {
    orphans_.splice(orphans_.begin(), relationships);
    orphanHidden(orphans_.front());
    try {
        deletePartInternal(orphans_.front());
    } catch (const PartDeleteFailed& e) {
        throw PartDeleteFailed(leftBehind(orphans_.front(), e.what()));
    }
    orphans_.pop_front();
    tryToDeleteOrphans();
}

/// Deletes a relationships part that its source no longer needs.
void Package::deleteRelationshipsPart(const PartName& name) {
    tryToDeleteOrphans();
    deletePartInternal(name);
    orphanHidden(name);
    tryToDeleteOrphans();
}

/// Equivalent relationships parts that this one has hidden would become effective.
void Package::orphanHidden(const PartName& name) noexcept {
    for (auto next = hidden_.begin(); next != hidden_.end();) {
        const auto hidden = next++;
        if (*hidden == name)
            orphans_.splice(orphans_.end(), hidden_, hidden);
    }
}

void Package::deleteOrphan(Names::iterator orphan) {
    const ContentTypeSource::Removal removal = contentTypeSource_->prepareRemoval(*orphan);
    try {
        physicalPackage_.deletePart(orphan->toString());
    } catch (const Exception& e) {
        if (e.code() != errc::no_such_file_or_directory) // which means that an earlier attempt succeeded after all
            throw PartDeleteFailed(leftBehind(*orphan, e.what()));
    }
    contentTypeSource_->remove(removal);
    orphans_.erase(orphan);
}

void Package::deleteOrphans() {
    while (!orphans_.empty())
        deleteOrphan(orphans_.begin());
}

/// What cannot be deleted now is deferred, so that it does not fail an unrelated call.
void Package::tryToDeleteOrphans() noexcept {
    for (auto next = orphans_.begin(); next != orphans_.end();)
        try {
            deleteOrphan(next++);
        } catch (...) { // NOLINT(bugprone-empty-catch): the next flush reports it
        }
}

/// A store may refuse a second part of that name, or replace the first one by it, to be deleted with it.
void Package::throwIfOrphan(const PartName& name) {
    const auto orphan = std::find(orphans_.begin(), orphans_.end(), name);
    if (orphan == orphans_.end())
        return;
    try {
        deleteOrphan(orphan);
    } catch (const PartDeleteFailed& e) {
        throw PartCreateFailed(e.what());
    }
}

PartName Package::storedNameOf(const interfaces::IPhysicalPart& physicalPart) {
    std::u16string name;
    try {
        name = physicalPart.getName();
    } catch (const Exception& e) {
        throw PartDeleteFailed(e.what());
    }
    return name;
}

void Package::deletePartInternal(const PartName& name) {
    std::optional<ContentTypeSource::Removal> removal;
    try {
        removal = contentTypeSource_->prepareRemoval(name);
        physicalPackage_.deletePart(name.toString());
    } catch (const Exception& e) {
        if (!removal || isStored(name))
            throw PartDeleteFailed(e.what());
    }
    contentTypeSource_->remove(*removal);
}

/// Whether the store still has a part that it failed to delete. One that it has deleted all the same may not be asked
/// for anything again.
bool Package::isStored(const PartName& name) {
    try {
        const std::vector<interfaces::IPhysicalPart*> parts = physicalPackage_.getParts();
        return std::any_of(parts.begin(), parts.end(), [&name](const interfaces::IPhysicalPart* part) {
            return caselessCompare(part->getName(), name.toString()) == 0;
        });
    } catch (const Exception&) { // unknown
        return true;
    }
}

const Part& Package::findPart(const PartName& name) const {
    const auto found = parts_.find(name);
    if (found == parts_.end())
        throw PartNotFound(withName("No part found with the name:", name));
    return found->second;
}

Part Package::getPart(const PartName& name) const {
    throwIfNotOpen();
    return findPart(name);
}

bool Package::hasPart(const PartName& name) const {
    throwIfNotOpen();
    return parts_.count(name) != 0;
}

std::vector<LeftOutPart> Package::getLeftOutParts() const {
    throwIfNotOpen();
    return leftOut_;
}

std::vector<Part> Package::getParts(ExcludeMode mode) const {
    throwIfNotOpen();
    std::unordered_set<std::u16string> managed; // lower-cased, as part names compare
    if (mode == ExcludeMode::ExcludeManaged)
        for (const std::u16string& name : getManagedPartNames())
            managed.insert(toLowerASCIIString(name));
    std::vector<Part> parts;
    parts.reserve(parts_.size());
    for (const auto& [name, part] : parts_)
        if (managed.empty() || managed.count(PartNameTree::keyOf(name)) == 0)
            parts.push_back(part);
    return parts;
}

ValueRange<PartName, Part> Package::parts() const {
    throwIfNotOpen();
    return parts_;
}

std::optional<Part> Package::findTarget(const Relationship& relationship) const {
    throwIfNotOpen();
    if (relationship.getTargetMode() == TargetMode::External)
        return std::nullopt;
    try {
        const auto found = parts_.find(PartName(relationship.getTargetURI().getPath(), true));
        return found == parts_.end() ? std::nullopt : std::optional(found->second);
    } catch (const Exception&) { // an opaque target, or a path that is no name
        return std::nullopt;
    }
}

std::vector<std::u16string> Package::getItemsNotReadWhole() const {
    throwIfNotOpen();
    std::vector<std::u16string> items;
    if (!contentTypeSource_->isWhole())
        items.emplace_back(u"[Content_Types].xml");
    const auto add = [&items](const RelationshipSource& source) {
        if (!source.isRelationshipsPartWhole())
            items.push_back(source.getRelationshipsPartName().toString());
    };
    add(*this);
    for (const auto& entry : parts_)
        add(entry.second);
    return items;
}

void Package::addDataManager(DataManager* manager) {
    if (isOpen_)
        throw PackageAlreadyOpen("Can't add a data manager when package is already open");
    dataManagers_.push_back(manager);
}

void Package::removeDataManager(DataManager* manager) noexcept {
    dataManagers_.remove(manager);
}

std::unordered_set<std::u16string> Package::getManagedPartNames() const {
    std::unordered_set<std::u16string> names;
    for (const DataManager* manager : dataManagers_)
        for (std::u16string& name : manager->getManagedPartNames())
            names.insert(std::move(name));
    return names;
}

std::unordered_set<std::u16string> Package::getManagedRelationshipTypes() const {
    std::unordered_set<std::u16string> types;
    for (const DataManager* manager : dataManagers_)
        for (std::u16string& type : manager->getManagedRelationshipTypes())
            types.insert(std::move(type));
    return types;
}

void Package::throwIfRelationshipName(const PartName& name) const {
    if (name.isRelationshipName())
        throw PartHasRelationshipName(withName("Cannot use a part name that is a relationship name: ", name));
}

void Package::throwIfPartAlreadyExists(const PartName& name) const {
    if (parts_.count(name) != 0)
        throw PartAlreadyExists(withName("Cannot use a part name that already exists: ", name));
}

void Package::throwIfDerivedFromExistingPartName(const PartName& name, const std::u16string& leftOut) const {
    switch (prefixes_->getDerivation(PartNameTree::keyOf(name), leftOut)) {
    case PartNameTree::Derivation::Subset:
        throw PartIsDerivedFromExistingPartName(
            withName("Cannot use a part name that is a subset of an existing name: ", name));
    case PartNameTree::Derivation::Superset:
        throw PartIsDerivedFromExistingPartName(
            withName("Cannot use a part name that is a superset of an existing name: ", name));
    case PartNameTree::Derivation::None:
        break;
    }
}

void Package::throwIfLeftOut(const PartName& name) const {
    // A new part would have what is left of the relationships of another one.
    const bool isRelationships = name.isRelationshipName();
    for (const LeftOutPart& each : leftOut_)
        if (each.name == name || (!isRelationships && each.name == name.getRelationshipPartName()))
            throw PartCreateFailed(withName("The package has an item that is not a part by the name ", each.name));
}

void Package::throwIfTooManyCorePropertiesRelationships(unsigned long allowed) const {
    if (getRelationshipsByType(wellknown::CORE_PROPERTIES_RELATIONSHIP_TYPE).size() > allowed)
        throw InvalidCorePropertiesRelationships(
            "No more than one core properties relationship can exist in a package");
}

} // namespace opc::model
