// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include "errors/ErrorPlaces.hpp"
#include "signatures/ManifestTarget.hpp"
#include "signatures/RelationshipsTransform.hpp"
#include "signatures/SignatureBounds.hpp"
#include "signatures/SignatureDocumentReader.hpp"
#include "signatures/SignatureForm.hpp"

#include <algorithm>
#include <cassert>
#include <iostream>
#include <set>
#include <stdexcept>
#include <utility>

namespace opc::model {

namespace {

constexpr const char* NO_SIGNATURE_PART = "The provided signature part name is invalid or does not exist.";

bool isNumber(const std::u16string& text) {
    return !text.empty() && text.find_first_not_of(u"0123456789") == std::u16string::npos;
}

/// The last segment of a part name without its extension, in lower case as part names compare.
std::u16string stemOf(const PartName& name) {
    const std::u16string text = toLowerASCIIString(name.toString());
    const std::u16string segment = text.substr(text.rfind(u'/') + 1);
    return segment.substr(0, segment.rfind(u'.'));
}

std::u16string withoutPrefix(const std::u16string& name) {
    const std::u16string prefix = signatureNamePrefix;
    return name.compare(0, prefix.size(), prefix) == 0 ? name.substr(prefix.size()) : name;
}

std::string withDetails(const char* start, const std::u16string& name, const std::u16string& source) {
    const bool isPackage = PartName::isPackageRootUri(source);
    return start + detail::toUTF8String(name, false) + " referenced to in the signature is not present in the " +
           (isPackage ? "package" : detail::toUTF8String(source, false));
}

void throwIfAbsent(const RelationshipSource& source, const RelationshipSelector& selector,
                   const std::set<std::u16string>& types) {
    const std::u16string criteria = selector.getSelectionCriteria();
    const std::u16string name = selector.getSourceURI().toString();
    const bool isById = selector.getSelectorType() == RelationshipSelectorType::ById;
    if (isById && !source.hasRelationship(criteria))
        throw RelationshipNotFound(withDetails("Relationship with ID ", criteria, name));
    if (!isById && types.count(criteria) == 0)
        throw RelationshipNotFound(withDetails("Relationship with Type ", criteria, name));
}

/// Runs a step; what it throws lies in that item, where no other one is told.
template <class Action>
void placing(const URI& item, Action action) {
    try {
        action();
    } catch (Exception& e) {
        e.setPlace(placeInItem(e, toASCIIString(item.toString())));
        throw;
    }
}

/// The part of a signature whose name may be any text.
PartName signaturePartOf(const DigitalSignatureManager& manager, const std::u16string& name) {
    try {
        return manager.getSignaturePartName(name);
    } catch (const SignatureNotFound&) {
        throw;
    } catch (const Exception&) { // no URI, or no part name
        throw SignatureNotFound(NO_SIGNATURE_PART);
    }
}

/// What a reference selects of its source.
/// @throws RelationshipNotFound when a selector selects nothing.
std::vector<Relationship> resolveSelectors(const RelationshipSource& source,
                                           const std::vector<RelationshipSelector>& selectors) {
    std::set<std::u16string> types;
    for (const Relationship& relationship : source.getRelationships())
        types.insert(relationship.getType());
    for (const RelationshipSelector& selector : selectors)
        throwIfAbsent(source, selector, types);
    return selectRelationships(source, selectors);
}

} // namespace

DigitalSignatureManager::DigitalSignatureManager(Package& package)
    : DataManager(package, true), reader_(std::make_unique<SignatureDocumentReader>(package.getLimits())) {}

DigitalSignatureManager::~DigitalSignatureManager() = default;

void DigitalSignatureManager::doLoad() {
    signatures_.clear();
    nextSignatureID_ = 1;
    const auto origins = getPackage().getRelationshipsByType(libraryForm().originRelationshipType);
    if (origins.empty())
        return;
    try {
        const URI origin = origins.front().getTargetURI();
        std::vector<Relationship> relationships;
        placing(origin, [&] {
            relationships =
                getPackage().getPart(PartName(origin)).getRelationshipsByType(libraryForm().signatureRelationshipType);
        });
        std::set<PartName> seen;
        for (const Relationship& each : relationships)
            placing(each.getTargetURI(), [&] { load(PartName(each.getTargetURI()), seen); });
    } catch (const Exception& e) {
        throwAs<InvalidSignature>(e);
    }
}

void DigitalSignatureManager::doSave() {}

void DigitalSignatureManager::load(const PartName& name, std::set<PartName>& seen) {
    const Part part = getPackage().getPart(name);
    if (!seen.insert(part.getName()).second)
        throw InvalidSignature("Two relationships lead to the signature part " +
                               toASCIIString(part.getName().toString()));
    throwIfTooMuchIsSigned<InvalidSignature>(signatures_, 0);
    signatures_.push_back(loadSignature(part));
    const std::u16string id = signatures_.back().getImpl()->signatureId;
    if (id != countersignatureId) {
        updateNextSignatureID(id, part);
        assertSignatureCorrectnessAfterLoad(*signatures_.back().getImpl());
    }
}

DigitalSignature DigitalSignatureManager::loadSignature(const Part& part) const {
    std::ostream nowhere(nullptr);
    auto data = std::make_shared<DigitalSignatureData>(reader_->read(*part.getInputStream(), nowhere));
    // What the document calls itself is not signed; where it is, its relationship says.
    data->partName = part.getName().toString();
    data->signatureId = withoutPrefix(stemOf(part.getName()));
    fillUpSignedEntities(*data);
    return DigitalSignature(std::move(data));
}

void DigitalSignatureManager::fillUpSignedEntities(DigitalSignatureData& data) const {
    for (const auto& reference : data.manifestReferences) {
        try {
            resolve(reference, data);
        } catch (Exception& e) {
            ErrorPlace place;
            place.element = "Reference";
            place.attribute = "URI";
            place.value = toASCIIString(reference.uri.toString());
            e.setPlace(std::make_shared<const ErrorPlace>(std::move(place)));
            throw;
        }
    }
}

/// Finds what a reference of the manifest names.
void DigitalSignatureManager::resolve(const DigitalSignatureData::ReferenceData& reference,
                                      DigitalSignatureData& data) const {
    const ManifestTarget target = ManifestTarget::of(reference.uri);
    const PartName part = target.isRelationships() ? PartName(target.name.getSourcePartName(), true) : target.name;
    if (!PartName::isPackageRootUri(part.getURI()) && !getPackage().hasPart(part))
        throw PartNotFound("Part referenced to by the signature is not present in the package.");
    if (!target.isRelationships()) {
        data.signedPartNames.push_back(part);
        return;
    }
    const URI source = part.getURI();
    auto [entry, isNew] = data.relationshipSelectors.try_emplace(source);
    if (!isNew)
        throw InvalidSignature("Two references of the signature cover relationships of " +
                               toASCIIString(source.toString()));
    for (const std::u16string& id : reference.relationshipSourceIds)
        entry->second.emplace_back(source, RelationshipSelectorType::ById, id);
    for (const std::u16string& type : reference.relationshipSourceTypes)
        entry->second.emplace_back(source, RelationshipSelectorType::ByType, type);
    const auto selected = withSource(getPackage(), source, [&entry = entry](const RelationshipSource& of) {
        return resolveSelectors(of, entry->second);
    });
    data.signedRelationships.insert(data.signedRelationships.end(), selected.begin(), selected.end());
}

void DigitalSignatureManager::assertSignatureCorrectnessAfterLoad(
    [[maybe_unused]] const DigitalSignatureData& data) const noexcept {
#ifndef NDEBUG
    std::size_t sources = 0;
    for (const auto& reference : data.signedInfoReferences)
        assert(reference.type == libraryForm().objectReferenceType);
    for (const auto& reference : data.manifestReferences)
        sources += ManifestTarget::of(reference.uri).isRelationships() ? 1 : 0;
    assert(data.signedPartNames.size() + sources == data.manifestReferences.size());
    assert(data.relationshipSelectors.size() == sources);
#endif
}

std::vector<std::u16string> DigitalSignatureManager::doGetManagedPartNames() const {
    if (!isPackageSigned())
        return {};
    std::vector<std::u16string> names{libraryForm().originPartName};
    const auto origins = getPackage().getRelationshipsByType(libraryForm().originRelationshipType);
    if (!origins.empty() && origins.front().getTargetURI() != names.front())
        names.push_back(origins.front().getTargetURI().toString());
    for (const DigitalSignature& signature : loaded())
        names.push_back(signature.getImpl()->partName);
    return names;
}

std::vector<std::u16string> DigitalSignatureManager::doGetManagedRelationshipTypes() const {
    if (!isPackageSigned())
        return {};
    return {libraryForm().originRelationshipType, libraryForm().signatureRelationshipType};
}

std::u16string DigitalSignatureManager::getNextSignatureID() {
    return toString(std::to_string(nextSignatureID_++));
}

void DigitalSignatureManager::updateNextSignatureID(const std::u16string& id, const Part& signaturePart) {
    const std::u16string fromPart = stemOf(signaturePart.getName());
    std::u16string number = id;
    if (!isNumber(number))
        number = fromPart.size() > 3 ? fromPart.substr(3) : std::u16string(); // behind "sig"
    if (!isNumber(number))
        return;
    const std::string text = toASCIIString(number);
    try {
        const std::uint64_t next = std::stoul(text) + 1;
        nextSignatureID_ = std::max(nextSignatureID_, next);
    } catch (const std::invalid_argument&) {
        std::cerr << "Internal exception: Invalid argument. Trying to get numeric ID from " << text << '\n';
    } catch (const std::out_of_range&) {
        std::cerr << "Internal exception: Out of range. Trying to get numeric ID from " << text << '\n';
    }
}

/// Those that were loaded. A package that is being created has none, whatever the manager held before.
const std::vector<DigitalSignature>& DigitalSignatureManager::loaded() const noexcept {
    static const std::vector<DigitalSignature> none;
    return getPackage().isCreateOnly() ? none : signatures_;
}

std::vector<DigitalSignature> DigitalSignatureManager::getSignatures() const {
    throwIfPackageNotOpen();
    return loaded();
}

DigitalSignature DigitalSignatureManager::getSignature(const std::u16string& name) const {
    return findSignature(name);
}

DigitalSignature DigitalSignatureManager::findSignature(const std::u16string& name) const {
    throwIfPackageNotOpen();
    PartName part = signaturePartOf(*this, name);
    const auto isNamed = [&name](const DigitalSignature& each) { return each.getName() == name; };
    // One may lie in another folder; of several of one name it is the one that lies where it should.
    auto found = std::find_if(loaded().begin(), loaded().end(), [&](const DigitalSignature& each) {
        return isNamed(each) && PartName(each.getImpl()->partName) == part;
    });
    if (found == loaded().end())
        found = std::find_if(loaded().begin(), loaded().end(), isNamed);
    if (found != loaded().end())
        part = PartName(found->getImpl()->partName);
    throwIfNotValidSignaturePart(part);
    if (found == loaded().end())
        throw SignatureNotFound("Could not find the given signature by the given name.");
    return *found;
}

PartName DigitalSignatureManager::getSignaturePartName(const std::u16string& name) const {
    if (!name.empty() && name.front() == u'/')
        throw SignatureNotFound(
            "Incorrect signature name provided. It should not start with backslash like a part name.");
    return libraryForm().folder + (u"/" + name) + u".xml";
}

std::u16string DigitalSignatureManager::getSignatureRelationshipID(const std::u16string& id) const {
    return signatureRelationshipIdPrefix + id;
}

Part DigitalSignatureManager::getSignatureOriginPart(URI& target, std::u16string& relationshipId) const {
    throwIfPackageNotOpen();
    const auto origins = getPackage().getRelationshipsByType(libraryForm().originRelationshipType);
    if (origins.empty())
        throw SignatureNotFound("Internal Error: No signature origin present.");
    target = origins.front().getTargetURI();
    relationshipId = origins.front().getID();
    return getPackage().getPart(PartName(target));
}

bool DigitalSignatureManager::isPackageSigned() const {
    throwIfPackageNotOpen();
    return !loaded().empty();
}

bool DigitalSignatureManager::isSigned(const PartName& name) const {
    throwIfPackageNotOpen();
    return std::any_of(loaded().begin(), loaded().end(), [&name](const DigitalSignature& signature) {
        const auto& names = signature.getImpl()->signedPartNames;
        return std::find(names.begin(), names.end(), name) != names.end();
    });
}

bool DigitalSignatureManager::isPackageCountersigned() const {
    throwIfPackageNotOpen();
    return getPackage().hasPart(getSignaturePartName(std::u16string(signatureNamePrefix) + countersignatureId));
}

DigitalSignature DigitalSignatureManager::getCountersignature() const {
    return getSignature(std::u16string(signatureNamePrefix) + countersignatureId);
}

void DigitalSignatureManager::throwIfNotValidSignaturePart(const PartName& name) const {
    if (!getPackage().hasPart(name))
        throw SignatureNotFound(NO_SIGNATURE_PART);
    URI target(u"");
    std::u16string id;
    const auto relationships =
        getSignatureOriginPart(target, id).getRelationshipsByType(libraryForm().signatureRelationshipType);
    if (std::none_of(relationships.begin(), relationships.end(),
                     [&name](const Relationship& each) { return each.getTargetURI() == name.getURI(); }))
        throw SignatureNotFound("The provided part name is not a signature part.");
}

void DigitalSignatureManager::throwIfPackageNotOpen() const {
    if (!getPackage().isOpen())
        throw PackageNotOpen("Package is not open");
}

void DigitalSignatureManager::throwIfPackageReadOnly() const {
    if (getPackage().isReadOnly())
        throw PackageReadOnly("Package is read-only");
}

void DigitalSignatureManager::throwIfPackageCreateOnly() const {
    if (getPackage().isCreateOnly())
        throw PackageCreateOnly("Package is open only for create");
}

void DigitalSignatureManager::throwIfPackageNotOpenForModify() const {
    throwIfPackageNotOpen();
    throwIfPackageReadOnly();
    throwIfPackageCreateOnly();
}

void DigitalSignatureManager::throwIfPackageNotCountersigned() const {
    if (!isPackageCountersigned())
        throw SignatureNotFound("No countersignatures found in package.");
}

} // namespace opc::model
