// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/SignatureRemoval.hpp>

#include <opc/core/FoldedNames.hpp>
#include <opc/core/Strings.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include "model/ItemBytes.hpp"
#include "signatures/PackageGuards.hpp"
#include "signatures/SignatureDeletion.hpp"
#include "signatures/SignatureOrigin.hpp"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace opc::model {

namespace {

using Names = std::set<PartName>;
using Identifier = const char16_t* SignatureIdentifiers::*;

/// All that differ in their identifiers.
std::array<const SignatureFormRules*, 2> distinctForms() {
    return {&rulesOf(SignatureForm::Library), &rulesOf(SignatureForm::Standard)};
}

template <class Text>
bool isOneOfForms(Identifier identifier, const Text& text) {
    const auto forms = distinctForms();
    return std::any_of(forms.begin(), forms.end(),
                       [&](const SignatureFormRules* form) { return text == form->*identifier; });
}

bool hasTypeOf(const Part& part, Identifier identifier) {
    const auto forms = distinctForms();
    return std::any_of(forms.begin(), forms.end(), [&](const SignatureFormRules* form) {
        return part.getContentType() == ContentType(form->*identifier);
    });
}

/// The relationships of a source of a type, in all forms.
std::vector<Relationship> relationshipsOf(const RelationshipSource& source, Identifier type) {
    std::vector<Relationship> found;
    for (const Relationship& relationship : source.getRelationships())
        if (isOneOfForms(type, relationship.getType()))
            found.push_back(relationship);
    return found;
}

/// The part name that a target is as a whole, as the part has it: what a signature goes by.
std::optional<PartName> nameAt(const Package& package, const Relationship& relationship) {
    try {
        if (relationship.getTargetMode() == TargetMode::Internal) {
            const PartName name(relationship.getTargetURI());
            return package.hasPart(name) ? package.getPart(name).getName() : name;
        }
    } catch (const Exception&) { // not a part name
    }
    return std::nullopt;
}

/// True also for content that cannot be read.
bool hasContent(const Part& part) {
    bool isFilled = false;
    try {
        readItem(
            *part.getInputStream(),
            [&](const unsigned char*, std::size_t size) {
                isFilled = isFilled || size != 0;
                return !isFilled;
            });
    } catch (const Exception&) {
        return true;
    }
    return isFilled;
}

class Removal {
public:
    /// @param names of the signatures; null for all.
    Removal(Package& package, const Names* names) : package_(package), names_(names) {}

    SignatureRemoval run() {
        for (const Relationship& each : relationshipsOf(package_, &SignatureIdentifiers::originRelationshipType))
            if (const auto origin = partAt(package_, each)) {
                originRelationships_[*origin].push_back(each.getID());
                unlinkFrom(*origin);
            } else if (names_ == nullptr) {
                deleteSignatureRelationship(package_, each.getID());
            }
        findUses();
        for (const PartName& name : signatures_)
            removeSignature(name);
        for (const PartName& name : certificates_)
            removeCertificate(name);
        for (const PartName& name : origins_)
            removeOrigin(name);
        return std::move(result_);
    }

private:
    /// Deletes the relationships of an origin to the signatures.
    void unlinkFrom(const PartName& originName) {
        Part origin = package_.getPart(originName);
        bool isTouched = names_ == nullptr;
        for (const Relationship& each : relationshipsOf(origin, &SignatureIdentifiers::signatureRelationshipType)) {
            if (names_ != nullptr && names_->count(nameAt(package_, each).value_or(originName)) == 0)
                continue;
            isTouched = true;
            if (const auto name = partAt(package_, each);
                name && hasTypeOf(package_.getPart(*name), &SignatureIdentifiers::signatureContentType))
                signatures_.insert(*name);
            deleteSignatureRelationship(origin, each.getID());
        }
        if (isTouched)
            origins_.insert(originName);
    }

    /// Finds which relationships that signatures do not make start from the parts or lead to them.
    void findUses() {
        for (const PartName& name : signatures_)
            for (const Relationship& each : certificateRelationshipsOf(name))
                if (const auto certificate = partAt(package_, each);
                    certificate &&
                    hasTypeOf(package_.getPart(*certificate), &SignatureIdentifiers::certificateContentType))
                    certificates_.insert(*certificate);
        std::map<std::string, PartName> byFoldedName;
        for (const Names* names : {&signatures_, &certificates_, &origins_})
            for (const PartName& name : *names)
                byFoldedName.emplace(detail::foldName(toASCIIString(name.toString())), name);
        addUses(package_, std::nullopt, byFoldedName);
        for (const Part& part : package_.getParts())
            addUses(part, part.getName(), byFoldedName);
    }

    /// @param sourceName none for the package.
    void addUses(const RelationshipSource& source, const std::optional<PartName>& sourceName,
                 const std::map<std::string, PartName>& byFoldedName) {
        const bool isSignature = sourceName && signatures_.count(*sourceName) != 0;
        const bool isRemoved =
            isSignature || (sourceName && certificates_.count(*sourceName) + origins_.count(*sourceName) != 0);
        for (const Relationship& each : source.getRelationships()) {
            const bool isToOrigin =
                !sourceName && isOneOfForms(&SignatureIdentifiers::originRelationshipType, each.getType());
            if (isSignature && isOneOfForms(&SignatureIdentifiers::certificateRelationshipType, each.getType()))
                continue;
            if (isRemoved)
                uses_[*sourceName].push_back(each);
            if (each.getTargetMode() == TargetMode::External)
                continue;
            for (const std::string& target : detail::foldTarget(each.getSourceURI().getPath(), each.getTarget()))
                if (const auto found = byFoldedName.find(target); found != byFoldedName.end() &&
                                                                  found->second != sourceName &&
                                                                  !(isToOrigin && origins_.count(found->second) != 0))
                    uses_[found->second].push_back(each);
        }
    }

    std::vector<Relationship> certificateRelationshipsOf(const PartName& signature) const {
        return relationshipsOf(package_.getPart(signature), &SignatureIdentifiers::certificateRelationshipType);
    }

    void keep(const PartName& name, bool isFilled) { result_.kept.push_back({name, isFilled, uses_[name]}); }

    void removeSignature(const PartName& name) {
        if (uses_.count(name) == 0) {
            deleteSignatureItem(package_, name);
            result_.removed.push_back(name);
            return;
        }
        for (const Relationship& each : certificateRelationshipsOf(name))
            if (const auto certificate = partAt(package_, each))
                certificates_.erase(*certificate);
        keep(name, false);
    }

    /// Another signature may have the same certificate, which is not worth a mention.
    void removeCertificate(const PartName& name) {
        const auto uses = uses_.find(name);
        if (uses == uses_.end())
            return deleteSignatureItem(package_, name);
        if (std::any_of(uses->second.begin(), uses->second.end(), [](const Relationship& each) {
                return !isOneOfForms(&SignatureIdentifiers::certificateRelationshipType, each.getType());
            }))
            keep(name, false);
    }

    void removeOrigin(const PartName& name) {
        // One that is a signature or certificate as well may be gone.
        if (package_.hasPart(name) && !removeOriginPart(package_.getPart(name)))
            return;
        for (const std::u16string& id : originRelationships_[name])
            deleteSignatureRelationship(package_, id);
    }

    /// @return false when it stays an origin.
    bool removeOriginPart(const Part& origin) {
        if (!relationshipsOf(origin, &SignatureIdentifiers::signatureRelationshipType).empty())
            return false;
        if (!isSignatureOrigin(origin, rulesOf(SignatureForm::Standard)))
            return true;
        const bool isFilled = hasContent(origin);
        const bool isKept = isFilled || uses_.count(origin.getName()) != 0;
        if (isKept)
            keep(origin.getName(), isFilled);
        else
            deleteSignatureItem(package_, origin.getName());
        return !isKept;
    }

    Package& package_;
    const Names* names_;
    Names signatures_{}, certificates_{}, origins_{};
    std::map<PartName, std::vector<std::u16string>> originRelationships_{}; ///< IDs of those of the package
    std::map<PartName, std::vector<Relationship>> uses_{};
    SignatureRemoval result_{};
};

} // namespace

SignatureRemoval removeSignatures(Package& package) {
    throwIfNotOpenForModify(package);
    return Removal(package, nullptr).run();
}

SignatureRemoval removeSignatures(Package& package, const std::set<PartName>& names) {
    throwIfNotOpenForModify(package);
    return Removal(package, &names).run();
}

std::optional<DigitalSignature> findCountersigned(const DigitalSignatureManager& manager,
                                                  const std::set<PartName>& names) {
    std::set<PartName> covered;
    for (const DigitalSignature& each : manager.getSignatures())
        if (manager.isCountersignature(each) && names.count(each.getPartName()) == 0)
            for (const PartName& name : each.getSignedPartNames())
                covered.insert(name);
    for (const DigitalSignature& each : manager.getSignatures())
        if (names.count(each.getPartName()) != 0 && covered.count(each.getPartName()) != 0)
            return each;
    return std::nullopt;
}

} // namespace opc::model
