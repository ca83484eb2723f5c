// SPDX-License-Identifier: Apache-2.0
#include <opc/model/relationships/RelationshipSource.hpp>

#include <opc/core/Strings.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>
#include <opc/errors/Errors.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/Package.hpp>
#include <opc/model/PhysicalInputStream.hpp>
#include <opc/model/PhysicalOutputStream.hpp>
#include <opc/model/StandardPartInfo.hpp>

#include "errors/ErrorPlaces.hpp"
#include "iri/IRI.hpp"
#include "model/ItemBytes.hpp"
#include "model/Reading.hpp"
#include "model/WellKnown.hpp"
#include "model/relationships/ExternalTarget.hpp"
#include "model/relationships/RelationshipManager.hpp"
#include "model/relationships/RelationshipPieces.hpp"
#include "model/relationships/RelationshipSerializer.hpp"
#include "model/relationships/Retargeting.hpp"
#include "xml/XmlBounds.hpp"

#include <boost/make_shared.hpp>

#include <algorithm>
#include <cstdint>

namespace opc::model {

namespace {

struct UnitRange {
    char16_t first;
    char16_t last;
};

template <std::size_t N>
bool isInRanges(char16_t unit, const UnitRange (&ranges)[N]) noexcept {
    return std::any_of(
        ranges, ranges + N, [unit](const UnitRange& range) { return unit >= range.first && unit <= range.last; });
}

/// NameStartChar of XML without U+037F to U+1FFF, ":" and what needs a surrogate pair.
bool isIDStart(char16_t unit) noexcept {
    static constexpr UnitRange ranges[] = {
        {u'A', u'Z'},     {u'a', u'z'},     {u'_', u'_'},     {0x00C0, 0x00D6}, {0x00D8, 0x00F6},
        {0x00F8, 0x02FF}, {0x0370, 0x037D}, {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},
        {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD},
    };
    return isInRanges(unit, ranges);
}

bool isIDUnit(char16_t unit) noexcept {
    static constexpr UnitRange ranges[] = {
        {u'-', u'-'}, {u'.', u'.'}, {u'0', u'9'}, {0x00B7, 0x00B7}, {0x0300, 0x036F}, {0x203F, 0x2040},
    };
    return isIDStart(unit) || isInRanges(unit, ranges);
}

std::u16string idOfNumber(std::uint64_t number) {
    const std::string digits = std::to_string(number);
    return u"rId" + std::u16string(digits.begin(), digits.end());
}

interfaces::IPhysicalOutputStream* getPhysicalOutputStream(interfaces::IPhysicalPart& part) {
    try {
        return part.getOutputStream();
    } catch (const Exception& e) {
        throw InvalidPartStream(e.what());
    }
}

void throwIfNotAllowedTarget(const URI& absolute, const URI& source) {
    try {
        if (PartName(absolute).isRelationshipName())
            throw InvalidRelationshipTarget("Relationship target cannot be a relationship part name.");
    } catch (const InvalidPartName& e) {
        throw InvalidRelationshipTarget(e.what());
    }
    if (absolute == source)
        throw InvalidRelationshipTarget("Relationship target cannot be the same as the source.");
}

/// The longest one that is generated.
constexpr const char16_t* LONGEST_ID = u"rId18446744073709551615";

/// With the relationship, the relationships part could not be read again.
void throwIfTooMuch(RelationshipManager& relationships, const RelationshipsCost& more, const Limits& limits) {
    RelationshipsCost cost = relationships.getCost();
    cost += more;
    throwIfTooMuch(cost, relationships.getSourceURI(), limits);
}

} // namespace

class RelationshipSource::Impl {
public:
    explicit Impl(const URI& source) : relationships_(source) {}

    const URI& getSource() const noexcept { return relationships_.getSourceURI(); }

    interfaces::IPhysicalPart* physicalPart_ = nullptr;
    RelationshipManager relationships_;
};

RelationshipSource::RelationshipSource(const URI& source) : impl_(boost::make_shared<Impl>(source)) {}

RelationshipSource::RelationshipSource(const RelationshipSource& other) = default;

RelationshipSource& RelationshipSource::operator=(const RelationshipSource& other) = default;

RelationshipSource::~RelationshipSource() = default;

void RelationshipSource::doVerifyRelationship(const std::u16string& /*id*/, const std::u16string& /*type*/,
                                              const std::u16string& /*target*/) {}

URI RelationshipSource::getSourceURI() const {
    return impl_->getSource();
}

PartName RelationshipSource::getRelationshipsPartName() const {
    throwIfInvalid();
    throwIfNotOpen();
    if (impl_->physicalPart_ == nullptr)
        return PartName(impl_->getSource()).getRelationshipPartName();
    return Package::storedNameOf(*impl_->physicalPart_);
}

ContentType RelationshipSource::getRelationshipsContentType() const {
    throwIfInvalid();
    throwIfNotOpen();
    if (impl_->physicalPart_ == nullptr)
        return wellknown::RELATIONSHIPS_CONTENT_TYPE;
    return getPackage().lookUpContentType(getRelationshipsPartName(), *impl_->physicalPart_, false);
}

interfaces::IPhysicalPart* RelationshipSource::getPhysicalRelationshipPart() const noexcept {
    return impl_->physicalPart_;
}

RelationshipManager& RelationshipSource::getRelationshipManager() const noexcept {
    return impl_->relationships_;
}

void RelationshipSource::reset() noexcept {
    impl_->physicalPart_ = nullptr;
    impl_->relationships_.clear();
    impl_->relationships_.setModified(true);
    impl_->relationships_.setCompact(false);
}

std::vector<Relationship> RelationshipSource::getRelationships(ExcludeMode mode) const {
    throwIfInvalid();
    throwIfNotOpen();
    std::unordered_set<std::u16string> managed;
    if (mode == ExcludeMode::ExcludeManaged)
        managed = getPackage().getManagedRelationshipTypes();
    std::vector<Relationship> relationships;
    for (const auto& entry : impl_->relationships_.getRelationships())
        if (managed.empty() || managed.count(entry.second.getType()) == 0)
            relationships.push_back(entry.second);
    return relationships;
}

std::vector<Relationship> RelationshipSource::getRelationshipsByType(const std::u16string& type) const {
    throwIfInvalid();
    throwIfNotOpen();
    std::vector<Relationship> relationships;
    for (const auto& entry : impl_->relationships_.getRelationships())
        if (entry.second.getType() == type)
            relationships.push_back(entry.second);
    return relationships;
}

Relationship RelationshipSource::getRelationshipByID(const std::u16string& id) const {
    throwIfInvalid();
    throwIfNotOpen();
    const auto& relationships = impl_->relationships_.getRelationships();
    const auto found = relationships.find(id);
    if (found == relationships.end())
        throw RelationshipNotFound("Relationship ID does not exist");
    return found->second;
}

bool RelationshipSource::hasRelationship(const std::u16string& id) const {
    throwIfInvalid();
    throwIfNotOpen();
    return impl_->relationships_.getRelationships().count(id) != 0;
}

ValueRange<std::u16string, Relationship> RelationshipSource::relationships() const {
    throwIfInvalid();
    throwIfNotOpen();
    return impl_->relationships_.getRelationships();
}

std::vector<Relationship> RelationshipSource::getRelationshipsByType(std::string_view type) const {
    return getRelationshipsByType(fromUTF8(type));
}

Relationship RelationshipSource::getRelationshipByID(std::string_view id) const {
    return getRelationshipByID(fromUTF8(id));
}

bool RelationshipSource::hasRelationship(std::string_view id) const {
    return hasRelationship(fromUTF8(id));
}

Relationship RelationshipSource::createInternalRelationship(std::string_view type, const URI& target,
                                                            std::string_view id) {
    return createInternalRelationship(fromUTF8(type), target, fromUTF8(id));
}

Relationship RelationshipSource::createInternalRelationship(std::string_view type, const Part& target,
                                                            std::string_view id) {
    return createInternalRelationship(type, target.getName().getURI(), id);
}

Relationship RelationshipSource::createExternalRelationship(std::string_view type, std::string_view target,
                                                            std::string_view id) {
    return createExternalRelationship(fromUTF8(type), fromUTF8(target), fromUTF8(id));
}

Relationship RelationshipSource::changeTarget(std::string_view id, const URI& target) {
    return changeTarget(fromUTF8(id), target);
}

void RelationshipSource::deleteRelationship(std::string_view id) {
    deleteRelationship(fromUTF8(id));
}

Relationship RelationshipSource::createInternalRelationship(const std::u16string& type, const URI& target,
                                                            const std::u16string& id) {
    throwIfNotChangeable();
    if (target.isAbsolute())
        throw InvalidRelationshipTarget("Relationship target cannot be an absolute URI for an internal relationship");
    const URI& source = impl_->getSource();
    const bool isPath = target.hasAbsolutePath();
    const URI relative = isPath ? relativize(source, target) : target;
    throwIfNotAllowedTarget(isPath ? target : resolve(source, target), source);
    throwIfTooMuch(impl_->relationships_,
                   RelationshipsCost::of(id.empty() ? LONGEST_ID : id, type, relative.toString(), TargetMode::Internal),
                   getPackage().getLimits());
    std::u16string verifiedID = id;
    verifyRelationship(verifiedID, type, relative.toString());
    return addRelationship(Relationship(verifiedID, type, source, relative));
}

Relationship RelationshipSource::createExternalRelationship(const std::u16string& type, const std::u16string& target,
                                                            const std::u16string& id) {
    throwIfNotChangeable();
    if (target.empty() || !isValidTarget(target) || !iri::isAnyURI(target)) // otherwise it could not be read again
        throw InvalidRelationshipTarget("External relationship target is not a valid xsd::anyURI. See "
                                        "http://www.w3.org/TR/leiri/.");
    throwIfTooMuch(impl_->relationships_,
                   RelationshipsCost::of(id.empty() ? LONGEST_ID : id, type, target, TargetMode::External),
                   getPackage().getLimits());
    std::u16string verifiedID = id;
    verifyRelationship(verifiedID, type, target);
    return addRelationship(Relationship(verifiedID, type, impl_->getSource(), target));
}

Relationship RelationshipSource::addRelationship(const Relationship& relationship) {
    Relationship added = relationship;
    impl_->relationships_.add(relationship);
    try {
        createRelationshipPartIfNeeded();
    } catch (...) {
        impl_->relationships_.erase(added.getID());
        throw;
    }
    impl_->relationships_.setModified(true);
    return added;
}

void RelationshipSource::verifyRelationship(std::u16string& id, const std::u16string& type,
                                            const std::u16string& target) {
    if (type.empty())
        throw InvalidRelationshipType("Relationship type must not be empty.");
    try {
        const URI checked(type);
    } catch (const InvalidURI&) {
        throw InvalidRelationshipType("Relationship type is not a valid xsd::anyURI");
    }
    if (id.empty()) {
        id = generateID();
    } else {
        if (!isValidID(id))
            throw InvalidRelationshipID("Relationship ID is not a valid xsd::ID");
        if (impl_->relationships_.hasEntry(id))
            throw RelationshipAlreadyExists("Relationship ID already exists");
    }
    doVerifyRelationship(id, type, target);
}

std::u16string RelationshipSource::generateID() {
    std::u16string candidate;
    do {
        candidate = idOfNumber(impl_->relationships_.takeIDNumber());
    } while (impl_->relationships_.hasEntry(candidate));
    return candidate;
}

void RelationshipSource::createRelationshipPartIfNeeded() {
    // An empty relationships part that was read is used like a new one.
    if (impl_->physicalPart_ != nullptr)
        return;
    const PartName name(PartName(impl_->getSource()).getRelationshipPartName());
    setPhysicalRelationshipPart(
        getPackage().createPartInternal(name, wellknown::RELATIONSHIPS_CONTENT_TYPE, StandardPartInfo()));
}

std::vector<unsigned char> RelationshipSource::readRelationshipsPart() const {
    throwIfInvalid();
    throwIfNotOpen();
    if (impl_->physicalPart_ == nullptr)
        return {};
    if (impl_->relationships_.isModified())
        throw InvalidRelationshipContent("The relationships part is not written yet");
    PhysicalInputStream input(impl_->physicalPart_->getInputStream());
    return readXmlItem(input, getPackage().getLimits().xmlSize);
}

Relationship RelationshipSource::changeTarget(const std::u16string& id, const URI& target) {
    throwIfNotChangeable();
    const Relationship old = getRelationshipByID(id);
    if (old.getTargetMode() == TargetMode::External || target.isAbsolute() || target.toString().empty())
        throw InvalidRelationshipTarget("Only an internal relationship can get another target, by a reference that is "
                                        "not absolute");
    const URI& source = impl_->getSource();
    throwIfNotAllowedTarget(resolve(source, target), source);
    Relationship changed(id, old.getType(), source, target);
    RelationshipsCost cost = impl_->relationships_.getCost();
    cost -= RelationshipsCost::of(old);
    cost += RelationshipsCost::of(changed);
    throwIfTooMuch(cost, source, getPackage().getLimits());
    impl_->relationships_.erase(id);
    impl_->relationships_.add(changed);
    impl_->relationships_.setModified(true);
    return changed;
}

void RelationshipSource::takeRelationships(const RelationshipSource& former) {
    const RelationshipManager& old = former.impl_->relationships_;
    RelationshipManager& relationships = impl_->relationships_;
    bool isModified = old.isModified();
    for (const auto& entry : old.getRelationships()) {
        Relationship moved = withSource(entry.second, impl_->getSource());
        isModified |= moved.getTarget() != entry.second.getTarget();
        relationships.add(std::move(moved));
    }
    relationships.setModified(isModified);
    relationships.setCompact(old.isCompact());
    relationships.takeIDNumberOf(old);
    if (isModified)
        throwIfTooMuch(relationships.getCost(), impl_->getSource(), getPackage().getLimits());
}

void RelationshipSource::deleteRelationship(const std::u16string& id) {
    throwIfNotChangeable();
    throwIfCreateOnly();
    if (impl_->relationships_.getRelationships().count(id) == 0)
        throw RelationshipNotFound("Relationship ID does not exist");
    deletePartOfLastEntry();
    impl_->relationships_.erase(id);
    impl_->relationships_.setModified(true);
}

/// What may fail comes first, so that a refused deletion changes nothing.
void RelationshipSource::deletePartOfLastEntry() {
    if (impl_->relationships_.getEntryCount() != 1)
        return;
    getPackage().deleteRelationshipsPart(Package::storedNameOf(*impl_->physicalPart_));
    setPhysicalRelationshipPart(nullptr);
}

std::vector<RawRelationship> RelationshipSource::getRawRelationships() const {
    throwIfInvalid();
    throwIfNotOpen();
    return impl_->relationships_.getRawRelationships();
}

void RelationshipSource::deleteRawRelationship(std::size_t index) {
    throwIfNotChangeable();
    throwIfCreateOnly();
    if (index >= impl_->relationships_.getRawRelationships().size())
        throw RelationshipNotFound("There is no such entry of the relationships part");
    deletePartOfLastEntry();
    impl_->relationships_.eraseRaw(index);
    impl_->relationships_.setModified(true);
}

bool RelationshipSource::isRelationshipsPartWhole() const {
    throwIfInvalid();
    throwIfNotOpen();
    const RelationshipManager& relationships = impl_->relationships_;
    return !relationships.isUnreadable() && relationships.getRawRelationships().empty() &&
           relationships.getRootAttributes().empty();
}

bool RelationshipSource::hasUnreadableRelationships() const {
    throwIfInvalid();
    throwIfNotOpen();
    return impl_->relationships_.isUnreadable();
}

void RelationshipSource::setPhysicalRelationshipPart(interfaces::IPhysicalPart* part) noexcept {
    impl_->physicalPart_ = part;
}

void RelationshipSource::readRelationshipPart(interfaces::IPhysicalPart& part, const Reading& reading) {
    setPhysicalRelationshipPart(&part);
    const Limits& limits = getPackage().getLimits();
    RelationshipManager& relationships = impl_->relationships_;
    const auto item = [&part] { return toASCIIString(part.getName()); };
    const auto bytes = reading.readItem([&part] { return part.getInputStream(); }, limits.xmlSize, item);
    const auto readPieces = [&](const Exception& refused) {
        relationships.clear();
        RelationshipPieces pieces(getPackage().getRelationshipSerializer(), relationships);
        return PiecesReading(reading, limits, RelationshipPieces::VOCABULARY, item()).read(*bytes, refused, pieces);
    };
    bool isReadable = bytes.has_value();
    if (isReadable)
        reading.attempt([&] { load(*bytes, part); },
                        [&](const Exception& refused) { isReadable = readPieces(refused); });
    if (!isReadable) {
        relationships.clear();
        relationships.setUnreadable();
    }
    relationships.setModified(false);
}

void RelationshipSource::load(const std::vector<unsigned char>& bytes, const interfaces::IPhysicalPart& part) {
    try {
        getPackage().getRelationshipSerializer().load(bytes, impl_->relationships_);
    } catch (const InvalidPartContent& e) {
        const std::string name = toASCIIString(part.getName());
        throwAt<InvalidRelationshipContent>(placeInItem(e, name), "In " + name + ": " + e.what());
    }
}

void RelationshipSource::flush() {
    RelationshipManager& relationships = impl_->relationships_;
    if (relationships.getEntryCount() == 0 || !relationships.isModified())
        return;
    relationships.setCompact(relationships.isCompact() || staysCompact());
    const auto bytes = getPackage().getRelationshipSerializer().save(relationships);
    PhysicalOutputStream stream(getPhysicalOutputStream(*impl_->physicalPart_));
    replaceItem(stream, bytes);
    relationships.setModified(false);
}

bool RelationshipSource::isCompact() const {
    throwIfInvalid();
    throwIfNotOpen();
    if (impl_->physicalPart_ == nullptr)
        return true;
    PhysicalInputStream input(impl_->physicalPart_->getInputStream());
    return getPackage().getRelationshipSerializer().isCompact(readXmlItem(input, getPackage().getLimits().xmlSize));
}

void RelationshipSource::makeCompact() {
    throwIfNotChangeable();
    impl_->relationships_.setCompact(true);
    impl_->relationships_.setModified(true);
}

bool RelationshipSource::staysCompact() const {
    const Package& package = getPackage();
    if (package.isCreateOnly() || !package.getRelationshipManager().hasOrigin())
        return false;
    try {
        return isCompact();
    } catch (const Exception&) { // nothing was stored yet
        return false;
    }
}

bool RelationshipSource::isValidID(const std::u16string& id) noexcept {
    return !id.empty() && isIDStart(id.front()) && std::all_of(id.begin(), id.end(), isIDUnit);
}

bool RelationshipSource::isValidTarget(const std::u16string& target) {
    try {
        const iri::IRI parsed(withSlashes(target));
        return true;
    } catch (const Exception&) {
        return false;
    }
}

void RelationshipSource::throwIfNotChangeable() const {
    throwIfInvalid();
    throwIfNotOpen();
    throwIfReadOnly();
    if (impl_->relationships_.isUnreadable())
        throw InvalidRelationshipContent("The relationships of " + toASCIIString(impl_->getSource().toString()) +
                                         " cannot be changed, since nothing can be read of them");
}

void RelationshipSource::throwIfInvalid() const {
    if (!isValid())
        throw InvalidObject("Object is no longer valid");
}

void RelationshipSource::throwIfNotOpen() const {
    if (!isOpen())
        throw PackageNotOpen("Package is not open");
}

void RelationshipSource::throwIfReadOnly() const {
    if (isReadOnly())
        throw PackageReadOnly("Package is read-only");
}

void RelationshipSource::throwIfCreateOnly() const {
    if (isCreateOnly())
        throw PackageCreateOnly("Package is open only for create");
}

} // namespace opc::model
