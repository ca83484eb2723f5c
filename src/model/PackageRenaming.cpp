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

/// A name that is taken out of a tree, and put back unless the change is done.
class RemovedName {
public:
    RemovedName(PartNameTree& names, std::u16string key) : names_(names), key_(std::move(key)) { names_.remove(key_); }
    ~RemovedName() {
        if (!isDone_)
            names_.add(key_); // as much memory as was freed
    }
    RemovedName(const RemovedName&) = delete;
    RemovedName& operator=(const RemovedName&) = delete;
    void done() noexcept { isDone_ = true; }

private:
    PartNameTree& names_;
    std::u16string key_;
    bool isDone_ = false;
};

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
    RemovedName removed(*prefixes_, PartNameTree::keyOf(name));
    throwIfDerivedFromExistingPartName(newName);
    tryToDeleteOrphans();
    throwIfOrphan(newName);
    const ContentType type = part.getContentType();
    Part moved(this, nullptr, newName, type, mode_);
    moved.takeRelationships(part);
    const PartName relationships(newName.getRelationshipPartName());
    throwIfOrphan(relationships);
    PartMap node;
    node.emplace(newName, moved);
    prefixes_->add(PartNameTree::keyOf(newName));
    bool isLost = false;
    try {
        moved.setPhysicalPart(moveStored(*part.getPhysicalPart(), newName, type, isLost));
    } catch (...) {
        prefixes_->remove(PartNameTree::keyOf(newName));
        if (isLost)
            forget(part);
        throw;
    }
    removed.done();
    forget(part);
    parts_.merge(node);
    moveRelationshipsPart(part, moved);
    return moved;
}

void Package::moveRelationshipsPart(const Part& part, Part& moved) {
    IPhysicalPart* const stored = part.getPhysicalRelationshipPart();
    if (stored == nullptr)
        return;
    const PartName name(moved.getName().getRelationshipPartName());
    const PartName former = storedNameOf(*stored);
    bool isLost = false;
    try {
        moved.setPhysicalRelationshipPart(moveStored(*stored, name, wellknown::RELATIONSHIPS_CONTENT_TYPE, isLost));
    } catch (...) {
        prefixes_->remove(PartNameTree::keyOf(moved.getName()));
        forget(moved);
        throw;
    }
    if (former != name)
        orphanHidden(former);
    tryToDeleteOrphans();
}

/// A part that the store has no longer, or by another name.
void Package::forget(Part& part) noexcept {
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
        contentTypeSource_->change(stored, newName, contentType);
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
        copyContent(physicalPart, *created);
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
    bool isLost = false;
    try {
        if (!physicalPackage_.hasContentTypeStream()) {
            part.dropStreams();
            part.setPhysicalPart(copyStored(stored, storedNameOf(stored), contentType, isLost));
        }
        contentTypeSource_->change(part.getName(), part.getName(), contentType);
    } catch (const Exception& e) {
        if (isLost)
            forget(part);
        throw PartCreateFailed(e.what());
    }
    part.setContentType(contentType);
}

} // namespace opc::model
