// SPDX-License-Identifier: Apache-2.0
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/core/interfaces/IPhysicalOutputStream.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>
#include <opc/core/interfaces/IPhysicalRenaming.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include "model/ContentTypeSource.hpp"
#include "model/PackageGuards.hpp"
#include "model/PartNameTree.hpp"
#include "model/WellKnown.hpp"

#include <utility>

namespace opc::model {

namespace {

using interfaces::IPhysicalPart;

/// Hands every block of a stored part to an action.
template <class Action>
void readStored(IPhysicalPart& part, Action action) {
    interfaces::IPhysicalInputStream& input = *part.getInputStream();
    input.open();
    std::vector<unsigned char> block(64UL * 1024);
    while (const unsigned long count = input.read(block.data(), block.size()))
        action(block.data(), count);
    input.close();
}

void copyContent(IPhysicalPart& from, IPhysicalPart& to) {
    interfaces::IPhysicalOutputStream& output = *to.getOutputStream();
    readStored(from, [&](const unsigned char* data, unsigned long size) { output.write(data, size); });
    output.close();
}

/// Deletes the copy that a failed move would leave.
void deleteQuietly(interfaces::IPhysicalPackage& package, const PartName& name) noexcept {
    try {
        package.deletePart(name.toString());
    } catch (...) { // NOLINT(bugprone-empty-catch): why the part was not moved is told
    }
}

} // namespace

void Package::throwIfNotRenameable(const Part& part, const PartName& newName) const {
    throwIfNotReadable(newName);
    throwIfRelationshipName(newName);
    if (newName != part.getName() || newName.toString() == part.getName().toString())
        throwIfPartAlreadyExists(newName);
    throwIfPackageRoot(newName);
    if (!part.isRelationshipsPartWhole())
        throw InvalidRelationshipContent(
            withName("A part cannot be renamed while something in its relationships is wrong: ", part.getName()));
    for (const std::u16string& managed : getManagedPartNames())
        if (part.getName() == managed || newName == managed)
            throw PartCreateFailed(withName("A data manager owns the part ", managed));
    throwIfLeftOut(newName);
}

Part Package::renamePart(const PartName& name, const PartName& newName) {
    throwIfNotOpen();
    throwIfReadOnly();
    throwIfCreateOnly();
    Part part = findPart(name);
    throwIfNotRenameable(part, newName);
    const std::u16string key = PartNameTree::keyOf(name);
    const std::u16string newKey = PartNameTree::keyOf(newName);
    throwIfDerivedFromExistingPartName(newName, key);
    tryToDeleteOrphans();
    throwIfOrphan(newName);
    const ContentType type = part.getContentType();
    Part moved(this, nullptr, newName, type, mode_);
    moved.takeRelationships(part);
    const PartName relationships(newName.getRelationshipPartName());
    throwIfOrphan(relationships);
    PartMap node;
    node.emplace(newName, moved);
    prefixes_->add(newKey);
    bool isLost = false;
    try {
        moved.setPhysicalPart(moveStored(*part.getPhysicalPart(), newName, type, isLost));
    } catch (...) {
        prefixes_->remove(newKey);
        if (isLost)
            forget(part, key);
        throw;
    }
    forget(part, key);
    parts_.merge(node);
    moveRelationshipsPart(part, moved, newKey);
    return moved;
}

void Package::moveRelationshipsPart(const Part& part, Part& moved, const std::u16string& key) {
    IPhysicalPart* const stored = part.getPhysicalRelationshipPart();
    if (stored == nullptr)
        return;
    const PartName name(moved.getName().getRelationshipPartName());
    const PartName former = storedNameOf(*stored);
    bool isLost = false;
    try {
        moved.setPhysicalRelationshipPart(moveStored(*stored, name, wellknown::RELATIONSHIPS_CONTENT_TYPE, isLost));
    } catch (...) {
        forget(moved, key);
        throw;
    }
    if (former != name)
        orphanHidden(former);
    tryToDeleteOrphans();
}

/// A part that the store has no longer, or by another name.
/// @param key of its name.
void Package::forget(Part& part, const std::u16string& key) noexcept {
    prefixes_->remove(key);
    part.markAsInvalid();
    parts_.erase(part.getName());
}

/// Gives a part of the store, a relationships part too, another name; content and type stay.
IPhysicalPart* Package::moveStored(IPhysicalPart& physicalPart, const PartName& newName, const ContentType& contentType,
                                   bool& isLost) {
    const PartName stored = storedNameOf(physicalPart);
    try {
        IPhysicalPart* moved = nullptr;
        if (auto* const store = dynamic_cast<interfaces::IPhysicalRenaming*>(&physicalPackage_))
            moved = store->renamePart(stored.toString(), newName.toString());
        if (moved == nullptr)
            moved = copyStored(physicalPart, newName, contentType, isLost);
        isLost = true; // by its old name
        contentTypeSource_->change(stored, newName, contentType);
        isLost = false;
        return moved;
    } catch (const Exception& e) {
        throw PartCreateFailed(e.what());
    }
}

/// The same with a copy of the content. One of an equivalent name has to take the place of the old one.
IPhysicalPart* Package::copyStored(IPhysicalPart& physicalPart, const PartName& newName, const ContentType& contentType,
                                   bool& isLost) {
    const PartName stored = storedNameOf(physicalPart);
    const auto create = [&] {
        return physicalPackage_.createPart(newName.toString(), contentType.toString(), StandardPartInfo());
    };
    if (stored != newName) {
        IPhysicalPart* const created = create();
        try {
            copyContent(physicalPart, *created);
        } catch (...) {
            deleteQuietly(physicalPackage_, newName);
            throw;
        }
        physicalPackage_.deletePart(stored.toString());
        return created;
    }
    std::vector<unsigned char> content;
    readStored(physicalPart, [&](const unsigned char* data, unsigned long size) {
        content.insert(content.end(), data, data + size);
    });
    isLost = true;
    physicalPackage_.deletePart(stored.toString());
    IPhysicalPart* const created = create();
    interfaces::IPhysicalOutputStream& output = *created->getOutputStream();
    output.write(content.data(), content.size());
    output.close();
    isLost = false;
    return created;
}

void Package::changeContentType(const PartName& name, const ContentType& contentType) {
    throwIfNotOpen();
    throwIfReadOnly();
    throwIfCreateOnly();
    Part part = findPart(name);
    throwIfNotReadable(contentType);
    if (part.getContentType().toString() == contentType.toString())
        return;
    IPhysicalPart& stored = *part.getPhysicalPart();
    const std::u16string key = PartNameTree::keyOf(name);
    bool isLost = false;
    const auto change = [&] {
        if (!physicalPackage_.hasContentTypeStream()) {
            part.dropStreams();
            part.setPhysicalPart(copyStored(stored, storedNameOf(stored), contentType, isLost));
        }
        contentTypeSource_->change(part.getName(), part.getName(), contentType);
    };
    try {
        change();
    } catch (const Exception& e) {
        if (isLost)
            forget(part, key);
        throw PartCreateFailed(e.what());
    } catch (...) {
        if (isLost)
            forget(part, key);
        throw;
    }
    part.setContentType(contentType);
}

} // namespace opc::model
