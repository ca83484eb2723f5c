// SPDX-License-Identifier: Apache-2.0
#include <opc/model/Package.hpp>

#include <opc/core/Strings.hpp>
#include <opc/core/interfaces/IPhysicalFindings.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/DataManager.hpp>

#include "errors/ErrorPlaces.hpp"
#include "model/ContentTypeSource.hpp"
#include "model/OrderedSearch.hpp"
#include "model/PackageGuards.hpp"
#include "model/PartNameTree.hpp"
#include "model/Reading.hpp"
#include "model/WellKnown.hpp"
#include "model/relationships/RelationshipSerializer.hpp"

#include <boost/system/error_code.hpp>

#include <utility>

namespace opc::model {

namespace {

/// Calls the physical package while the package is opened; its failures become those of the open.
template <class Call>
auto translatingOpenFailure(Call call) -> decltype(call()) {
    try {
        return call();
    } catch (const Exception& e) {
        throw PackageOpenFailed(e.what(), e.code());
    }
}

[[noreturn]] void throwUnmatched(const std::string& relationshipsPart) {
    ErrorPlace place;
    place.item = relationshipsPart;
    place.reason = "holds the relationships of a part that is not in the package";
    throwAt<InconsistentPackage>(std::make_shared<const ErrorPlace>(std::move(place)),
                                 "Not all relationship parts were matched with regular parts");
}

} // namespace

void Package::open(interfaces::OpenMode mode) {
    open(mode, nullptr);
}

void Package::open(interfaces::OpenMode mode, FindingSink& sink) {
    open(mode, &sink);
}

void Package::open(interfaces::OpenMode mode, FindingSink* sink) {
    if (isOpen_)
        throw PackageAlreadyOpen("Package is already open");
    openPhysicalPackage(mode, sink);
    const Reading reading(sink);
    try {
        relationshipSerializer_ = std::make_unique<RelationshipSerializer>(limits_);
        contentTypeSource_ = std::make_unique<ContentTypeSource>(physicalPackage_, isCreateOnly(), limits_, reading);
        initializeParts(reading);
        isOpen_ = true;
        checkCorePropertiesRelationships(reading);
        forEachDataManager([this](DataManager& manager) { manager.open(isCreateOnly()); });
    } catch (...) {
        abandon();
        throw;
    }
}

void Package::openPhysicalPackage(interfaces::OpenMode mode, FindingSink* sink) {
    mode_ = mode;
    auto* const tolerant = sink == nullptr ? nullptr : dynamic_cast<interfaces::IPhysicalFindings*>(&physicalPackage_);
    try {
        if (tolerant != nullptr)
            tolerant->openTolerantly(mode, *sink);
        else
            physicalPackage_.open(mode);
    } catch (const Exception& e) {
        if (e.code() == boost::system::errc::no_such_file_or_directory)
            throw PackageNotFound(e.what());
        throw PackageOpenFailed(e.what(), e.code());
    }
}

/// What a store has, while a package is opened.
struct Package::StoredParts {
    PhysicalPartMap regular;
    PhysicalPartMap::iterator hint = regular.end(); ///< the end: consecutive items often have consecutive names
    PhysicalPartMap pending;                        ///< relationships parts whose source was not found yet
    PhysicalPartMap::iterator next = pending.end(); ///< among them, where the part before had its own
    Names equivalent;                               ///< names that two parts have
};

void Package::initializeParts(const Reading& reading) {
    StoredParts stored = collectParts(reading);
    stored.next = stored.pending.begin();
    PartMap parts;
    while (!stored.regular.empty()) {
        const auto entry = stored.regular.extract(stored.regular.begin()); // whose memory the part takes
        const PartName& name = entry.key();
        const auto contentType = findContentType(name, *entry.mapped(), RuleId::UntypedItem, reading);
        if (!contentType) {
            leaveOut(name, contentTypeSource_->isReadable() ? "no content type" : "content types that cannot be read",
                     stored);
            continue;
        }
        const auto added = parts.emplace_hint(parts.end(), name, Part(this, entry.mapped(), name, *contentType, mode_));
        attachRelationships(added->second, name, stored, reading);
    }
    attachRelationships(*this, PartName(PartName::FORWARD_SLASH_STRING), stored, reading);

    parts_.swap(parts);
    if (!isReadOnly()) // where no part can be created
        for (const auto& entry : parts_)
            prefixes_->add(PartNameTree::keyOf(entry.first));
    for (const auto& entry : stored.pending) {
        reading.attempt([&] { throwUnmatched(toASCIIString(entry.first.toString())); },
                        [&](const Exception& e) { reading.found(RuleId::RelationshipsOfNothing, e, {}); });
        leftOut_.push_back({entry.first, "the relationships of a part that is not in the package"});
    }
}

Package::StoredParts Package::collectParts(const Reading& reading) {
    StoredParts stored;
    for (interfaces::IPhysicalPart* physicalPart :
         translatingOpenFailure([this] { return physicalPackage_.getParts(); })) {
        const auto text = translatingOpenFailure([physicalPart] { return physicalPart->getName(); });
        std::optional<PartName> name;
        const bool isName = reading.attempt(
            [&] { throwIfPackageRoot(name.emplace(text)); },
            [&](const Exception& e) { reading.found(ruleOfPartName(text), e, detail::toUTF8String(text, false)); });
        if (isName && name->isRelationshipName())
            collectRelationshipsPart(*name, *physicalPart, reading, stored);
        else if (isName)
            collectPart(*name, *physicalPart, reading, stored);
    }
    for (const PartName& name : stored.equivalent) {
        stored.regular.erase(name);
        leaveOut(name, "a name that is equivalent to that of another part", stored);
    }
    return stored;
}

void Package::collectRelationshipsPart(const PartName& name, interfaces::IPhysicalPart& physicalPart,
                                       const Reading& reading, StoredParts& stored) {
    findContentType(name, physicalPart, RuleId::RelationshipsTypeMissing, reading);
    const auto [entry, isNew] = stored.pending.try_emplace(name, &physicalPart);
    if (!isNew)
        hidden_.emplace_back(translatingOpenFailure([&old = entry->second] { return old->getName(); }));
    entry->second = &physicalPart;
}

void Package::collectPart(const PartName& name, interfaces::IPhysicalPart& physicalPart, const Reading& reading,
                          StoredParts& stored) {
    const std::size_t count = stored.regular.size();
    stored.hint = stored.regular.emplace_hint(stored.hint, name, &physicalPart);
    if (stored.regular.size() != count) {
        ++stored.hint;
        return;
    }
    const PartName& first = stored.hint->first;
    const InconsistentPackage error(withName("Two parts have equivalent names: ", first) + withName(" and ", name));
    if (!reading.isTolerant())
        throw error;
    for (const PartName& each : {first, name})
        reading.found(RuleId::NoEquivalentPartNames, error, toASCIIString(each.toString()));
    stored.equivalent.push_back(name);
}

/// Of what is left out the relationships part is, too, and nobody is told: it is there for its part.
void Package::leaveOut(const PartName& name, const std::string& reason, StoredParts& stored) {
    leftOut_.push_back({name, reason});
    contentTypeSource_->leaveOut(name);
    const auto relationships = stored.pending.find(name.getRelationshipPartName());
    if (relationships == stored.pending.end())
        return;
    leftOut_.push_back({relationships->first, "the relationships of an item that is not a part"});
    stored.next = stored.pending.erase(relationships);
}

void Package::attachRelationships(RelationshipSource& source, const PartName& name, StoredParts& stored,
                                  const Reading& reading) {
    const std::u16string relationships = name.getRelationshipPartName();
    advanceTo(relationships, stored.pending, stored.next);
    if (stored.next == stored.pending.end() || relationships < stored.next->first)
        return;
    source.readRelationshipPart(*stored.next->second, reading);
    stored.next = stored.pending.erase(stored.next);
}

/// @return none for a part that has no content type, after a finding where content types can be read.
std::optional<ContentType> Package::findContentType(const PartName& name, const interfaces::IPhysicalPart& physicalPart,
                                                    RuleId rule, const Reading& reading) {
    std::optional<ContentType> type;
    reading.attempt([&] { type = lookUpContentType(name, physicalPart); },
                    [&](const Exception& e) {
                        if (contentTypeSource_->isReadable())
                            reading.found(rule, e, toASCIIString(name.toString()));
                    });
    return type;
}

ContentType Package::lookUpContentType(const PartName& name, const interfaces::IPhysicalPart& physicalPart,
                                       bool takeReference) {
    if (physicalPackage_.hasContentTypeStream())
        return contentTypeSource_->getContentType(name, takeReference);
    return translatingOpenFailure([&physicalPart] { return physicalPart.getContentType(); });
}

void Package::checkCorePropertiesRelationships(const Reading& reading) const {
    reading.attempt([this] { throwIfTooManyCorePropertiesRelationships(1); },
                    [&](const Exception& e) {
                        const auto all = getRelationshipsByType(wellknown::CORE_PROPERTIES_RELATIONSHIP_TYPE);
                        for (std::size_t i = 1; i < all.size(); ++i) {
                            ErrorPlace place;
                            place.item = toASCIIString(getRelationshipsPartName().toString());
                            place.element = "Relationship";
                            place.id = detail::toUTF8String(all[i].getID(), false);
                            place.reason = e.what();
                            reading.found(RuleId::OneCoreProperties, std::move(place));
                        }
                    });
}

} // namespace opc::model
