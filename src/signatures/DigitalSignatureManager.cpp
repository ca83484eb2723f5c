// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include "errors/ErrorPlaces.hpp"
#include "signatures/ManifestTarget.hpp"
#include "signatures/PackageGuards.hpp"
#include "signatures/SignatureBounds.hpp"
#include "signatures/SignatureDocumentReader.hpp"
#include "signatures/SignatureOrigin.hpp"
#include "signatures/SignedEntities.hpp"
#include "signatures/StandardSignatures.hpp"

#include <algorithm>
#include <cassert>
#include <iostream>
#include <set>
#include <stdexcept>
#include <utility>

namespace opc::model {

namespace {

constexpr const char* NO_SIGNATURE_PART = "The provided signature part name is invalid or does not exist.";

/// The standard forms are read alike.
SignatureForm readAs(SignatureForm form) {
    return rulesOf(form).isStandard() ? SignatureForm::Standard : form;
}

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
    return name.starts_with(SIGNATURE_NAME_PREFIX)
               ? name.substr(std::char_traits<char16_t>::length(SIGNATURE_NAME_PREFIX))
               : name;
}

/// Runs a step. An error in it gets the item as its location, unless it has one.
template <class Action>
void withItemInErrors(const URI& item, Action action) {
    try {
        action();
    } catch (Exception& e) {
        e.setPlace(placeInItem(e, toASCIIString(item.toString())));
        throw;
    }
}

/// The part of a signature.
/// @param name any text.
PartName signaturePartOf(const DigitalSignatureManager& manager, const std::u16string& name) {
    try {
        return manager.getSignaturePartName(name);
    } catch (const SignatureNotFound&) {
        throw;
    } catch (const Exception&) { // not a URI or part name
        throw SignatureNotFound(NO_SIGNATURE_PART);
    }
}

bool leadsTo(const Part& origin, const SignatureFormRules& form, const PartName& signature) {
    const auto relationships = origin.getRelationshipsByType(form.signatureRelationshipType);
    return std::any_of(relationships.begin(), relationships.end(),
                       [&](const Relationship& each) { return each.getTargetURI() == signature.getURI(); });
}

} // namespace

DigitalSignatureManager::DigitalSignatureManager(Package& package)
    : DataManager(package, true), reader_(std::make_unique<SignatureDocumentReader>(package.getLimits())) {}

DigitalSignatureManager::DigitalSignatureManager(Package& package, const std::vector<SignatureForm>& formsToRead,
                                                 SignatureForm formToWrite)
    : DigitalSignatureManager(package) {
    forms_.clear();
    for (const SignatureForm each : formsToRead)
        if (const SignatureForm form = readAs(each); std::find(forms_.begin(), forms_.end(), form) == forms_.end())
            forms_.push_back(form);
    if (std::find(forms_.begin(), forms_.end(), readAs(formToWrite)) == forms_.end())
        throw Exception("The form of signatures that is written is not among those that are read.");
    writtenForm_ = formToWrite;
}

DigitalSignatureManager::~DigitalSignatureManager() = default;

void DigitalSignatureManager::doLoad() {
    signatures_.clear();
    nextSignatureID_ = 1;
    std::set<PartName> seen;
    for (const SignatureForm form : forms_)
        loadForm(rulesOf(form), seen);
}

void DigitalSignatureManager::loadForm(const SignatureFormRules& form, std::set<PartName>& seen) {
    if (form.isStandard()) {
        for (DigitalSignature& each : loadStandardSignatures(getPackage(), seen)) {
            if (getPackage().hasPart(each.getPartName()) && isNumber(each.getImpl()->signatureId))
                updateNextSignatureID(each.getImpl()->signatureId, getPackage().getPart(each.getPartName()));
            signatures_.push_back(std::move(each));
        }
        return;
    }
    const auto originRelationship = findOriginRelationship(getPackage(), form);
    if (!originRelationship)
        return;
    try {
        const URI origin = originRelationship->getTargetURI();
        std::vector<Relationship> relationships;
        withItemInErrors(origin, [&] {
            relationships =
                getPackage().getPart(PartName(origin)).getRelationshipsByType(form.signatureRelationshipType);
        });
        for (const Relationship& each : relationships)
            withItemInErrors(each.getTargetURI(), [&] { load(PartName(each.getTargetURI()), form, seen); });
    } catch (const Exception& e) {
        throwAs<InvalidSignature>(e);
    }
}

void DigitalSignatureManager::doSave() {}

void DigitalSignatureManager::load(const PartName& name, const SignatureFormRules& form, std::set<PartName>& seen) {
    const Part part = getPackage().getPart(name);
    if (!seen.insert(part.getName()).second)
        throw InvalidSignature("Duplicate relationship to the signature part " +
                               toASCIIString(part.getName().toString()));
    throwIfTooMuchIsSigned<InvalidSignature>(signatures_, 0);
    signatures_.push_back(loadSignature(part, form));
    const std::u16string id = signatures_.back().getImpl()->signatureId;
    if (id != COUNTERSIGNATURE_ID) {
        updateNextSignatureID(id, part);
        assertSignatureCorrectnessAfterLoad(*signatures_.back().getImpl());
    }
}

DigitalSignature DigitalSignatureManager::loadSignature(const Part& part, const SignatureFormRules& form) const {
    std::ostream nowhere(nullptr);
    auto data = std::make_shared<DigitalSignatureData>(reader_->read(*part.getInputStream(), form, nowhere));
    // The Id in the document is not signed; the id is that of the part name.
    data->partName = part.getName().toString();
    data->signatureId = withoutPrefix(stemOf(part.getName()));
    fillUpSignedEntities(getPackage(), *data);
    return DigitalSignature(std::move(data));
}

void DigitalSignatureManager::assertSignatureCorrectnessAfterLoad(
    [[maybe_unused]] const DigitalSignatureData& data) const noexcept {
#ifndef NDEBUG
    std::size_t sources = 0;
    for (const auto& reference : data.signedInfoReferences)
        assert(reference.type == rulesOf(data.form).objectReferenceType);
    for (const auto& reference : data.manifestReferences)
        sources += ManifestTarget::of(reference.uri).isRelationships() ? 1 : 0;
    assert(data.signedPartNames.size() + sources == data.manifestReferences.size());
    assert(data.relationshipSelectors.size() == sources);
#endif
}

std::vector<std::u16string> DigitalSignatureManager::doGetManagedPartNames() const {
    if (!isPackageSigned())
        return {};
    std::vector<std::u16string> names;
    for (const SignatureForm form : forms_) {
        names.emplace_back(rulesOf(form).originPartName);
        const auto origin = findOriginRelationship(getPackage(), rulesOf(form));
        if (origin && origin->getTargetURI() != names.back())
            names.push_back(origin->getTargetURI().toString());
    }
    for (const DigitalSignature& signature : loaded()) {
        names.push_back(signature.getImpl()->partName);
        for (const PartName& certificate : signature.getImpl()->standard.certificateParts)
            names.push_back(certificate.toString());
    }
    return names;
}

std::vector<std::u16string> DigitalSignatureManager::doGetManagedRelationshipTypes() const {
    if (!isPackageSigned())
        return {};
    std::vector<std::u16string> types;
    for (const SignatureForm form : forms_) {
        types.emplace_back(rulesOf(form).originRelationshipType);
        types.emplace_back(rulesOf(form).signatureRelationshipType);
        if (rulesOf(form).isStandard())
            types.emplace_back(rulesOf(form).certificateRelationshipType);
    }
    return types;
}

std::u16string DigitalSignatureManager::getNextSignatureID() {
    return toString(std::to_string(nextSignatureID_++));
}

void DigitalSignatureManager::updateNextSignatureID(const std::u16string& id, const Part& signaturePart) {
    const std::u16string fromPart = stemOf(signaturePart.getName());
    std::u16string number = id;
    if (!isNumber(number))
        number = fromPart.size() > 3 ? fromPart.substr(3) : std::u16string(); // after "sig"
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

/// The loaded signatures. A package that is being created has none; the list may be that of an earlier package.
const std::vector<DigitalSignature>& DigitalSignatureManager::loaded() const noexcept {
    static const std::vector<DigitalSignature> none;
    return getPackage().isCreateOnly() ? none : signatures_;
}

std::vector<DigitalSignature> DigitalSignatureManager::getSignatures() const {
    throwIfNotOpen(getPackage());
    return loaded();
}

DigitalSignature DigitalSignatureManager::getSignature(const std::u16string& name) const {
    return findSignature(name);
}

DigitalSignature DigitalSignatureManager::findSignature(const std::u16string& name) const {
    throwIfNotOpen(getPackage());
    PartName part = signaturePartOf(*this, name);
    const auto isNamed = [&name](const DigitalSignature& each) { return each.getName() == name; };
    // A signature may be in another folder; of several with one name, the one in the usual folder is preferred.
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
    return makeSignaturePartName(rulesOf(writtenForm_), name);
}

std::u16string DigitalSignatureManager::getSignatureRelationshipID(const std::u16string& id) const {
    return SIGNATURE_RELATIONSHIP_ID_PREFIX + id;
}

Part DigitalSignatureManager::getSignatureOriginPart(URI& target, std::u16string& relationshipId) const {
    throwIfNotOpen(getPackage());
    for (const SignatureForm form : forms_)
        if (const auto origin = findOriginRelationship(getPackage(), rulesOf(form))) {
            target = origin->getTargetURI();
            relationshipId = origin->getID();
            return getPackage().getPart(PartName(target));
        }
    throw SignatureNotFound("Internal Error: No signature origin present.");
}

bool DigitalSignatureManager::isCountersignature(const DigitalSignature& signature) const {
    throwIfNotOpen(getPackage());
    return model::isCountersignature(*signature.getImpl(), loaded());
}

bool DigitalSignatureManager::isPackageSigned() const {
    throwIfNotOpen(getPackage());
    return !loaded().empty();
}

bool DigitalSignatureManager::isSigned(const PartName& name) const {
    throwIfNotOpen(getPackage());
    return std::any_of(loaded().begin(), loaded().end(), [&name](const DigitalSignature& signature) {
        const auto& names = signature.getImpl()->signedPartNames;
        return std::find(names.begin(), names.end(), name) != names.end();
    });
}

const SignatureFormRules& DigitalSignatureManager::throwIfNotValidSignaturePart(const PartName& name) const {
    if (!getPackage().hasPart(name))
        throw SignatureNotFound(NO_SIGNATURE_PART);
    URI target(u"");
    std::u16string id;
    getSignatureOriginPart(target, id);
    for (const SignatureForm each : forms_) {
        const SignatureFormRules& form = rulesOf(each);
        const auto origin = findOriginRelationship(getPackage(), form);
        if (origin && leadsTo(getPackage().getPart(PartName(origin->getTargetURI())), form, name))
            return form;
    }
    throw SignatureNotFound("The provided part name is not a signature part.");
}

} // namespace opc::model
