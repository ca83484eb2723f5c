// SPDX-License-Identifier: Apache-2.0
#include "signatures/StandardSignatures.hpp"

#include <opc/core/Strings.hpp>
#include <opc/errors/Errors.hpp>

#include "errors/ErrorPlaces.hpp"
#include "signatures/CertificateParts.hpp"
#include "signatures/SignatureBounds.hpp"
#include "signatures/SignatureFormRules.hpp"
#include "signatures/SignedEntities.hpp"
#include "signatures/StandardSignatureReader.hpp"

#include <memory>
#include <optional>
#include <utility>

namespace opc::model {

namespace {

const SignatureFormRules& rules() {
    return rulesOf(SignatureForm::Standard);
}

/// The part that a relationship leads to; none when it leads elsewhere.
std::optional<PartName> targetOf(const Relationship& relationship) {
    if (relationship.getTargetMode() == TargetMode::External)
        return std::nullopt;
    try {
        return PartName(relationship.getTargetURI());
    } catch (const Exception&) { // not a part name
        return std::nullopt;
    }
}

bool isDecimal(const std::u16string& text) {
    return text.find_first_not_of(u"0123456789") == std::u16string::npos;
}

/// The number of "/_xmlsignatures/sig1.xml", or the part name without the slash in front.
std::u16string idOf(const PartName& part) {
    const std::u16string name = part.toString();
    const std::u16string before = rules().folder + (u"/" + std::u16string(SIGNATURE_NAME_PREFIX));
    const std::u16string extension = u".xml";
    if (name.size() > before.size() + extension.size() && name.starts_with(before) && name.ends_with(extension)) {
        const std::u16string number = name.substr(before.size(), name.size() - before.size() - extension.size());
        if (isDecimal(number))
            return number;
    }
    // A name that another signature could have as well keeps its slash.
    const std::u16string rest = name.substr(1);
    const bool isAmbiguous =
        rest.find(u'/') == std::u16string::npos && (rest.starts_with(SIGNATURE_NAME_PREFIX) || isDecimal(rest));
    return isAmbiguous ? name : rest;
}

DigitalSignatureData readData(const Package& package, const Part& part) {
    DigitalSignatureData data = readStandardSignature(*part.getInputStream(), package.getLimits());
    addCertificateParts(package, part, data);
    fillUpFoundEntities(package, data);
    return data;
}

class Loading {
public:
    Loading(const Package& package, std::set<PartName>& seen) : package_(package), seen_(seen) {}

    std::vector<DigitalSignature> load() {
        const std::vector<Relationship> origins = package_.getRelationshipsByType(rules().originRelationshipType);
        for (const Relationship& origin : origins) {
            const auto name = targetOf(origin);
            if (!name || !package_.hasPart(*name))
                continue;
            for (const Relationship& each :
                 package_.getPart(*name).getRelationshipsByType(rules().signatureRelationshipType))
                add(each, *name, origins.size() > 1);
        }
        return std::move(signatures_);
    }

private:
    void add(const Relationship& relationship, const PartName& origin, bool hasOtherOrigin) {
        const auto name = targetOf(relationship);
        auto data = std::make_shared<DigitalSignatureData>();
        try {
            if (!name || !package_.hasPart(*name))
                throw InvalidSignature("The relationship " + detail::toUTF8String(relationship.getID(), false) +
                                       " of the signature origin leads to no part.");
            if (!seen_.insert(*name).second)
                throw InvalidSignature("Duplicate relationship to the signature part " +
                                       toASCIIString(name->toString()));
            if (hasOtherOrigin) // readers differ in which one they take
                throw InvalidSignature("The package has more than one relationship to a signature origin.");
            *data = read(package_.getPart(*name));
        } catch (const Exception& e) {
            *data = {};
            data->form = SignatureForm::Standard;
            data->standard.problem = withPlace(e);
        }
        const PartName part = name ? *name : origin;
        data->partName = package_.hasPart(part) ? package_.getPart(part).getName().toString() : part.toString();
        data->signatureId = idOf(PartName(data->partName));
        signatures_.emplace_back(std::move(data));
    }

    DigitalSignatureData read(const Part& part) {
        throwIfTooMuchIsSigned<InvalidSignature>(signatures_, 0);
        DigitalSignatureData data = readData(package_, part);
        throwIfTooMuchIsSigned<InvalidSignature>(signatures_,
                                                 data.signedPartNames.size() + data.signedRelationships.size());
        return data;
    }

    static std::string withPlace(const Exception& e) {
        const auto& place = e.getPlace();
        if (!place || place->line == 0)
            return e.what();
        return std::string(e.what()) + " (line " + std::to_string(place->line) + ", column " +
               std::to_string(place->column) + ')';
    }

    const Package& package_;
    std::set<PartName>& seen_;
    std::vector<DigitalSignature> signatures_;
};

} // namespace

std::vector<DigitalSignature> loadStandardSignatures(const Package& package, std::set<PartName>& seen) {
    return Loading(package, seen).load();
}

DigitalSignature loadStandardSignature(const Package& package, const Part& part) {
    auto data = std::make_shared<DigitalSignatureData>(readData(package, part));
    data->partName = part.getName().toString();
    data->signatureId = idOf(part.getName());
    return DigitalSignature(std::move(data));
}

} // namespace opc::model
