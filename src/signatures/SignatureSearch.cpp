// SPDX-License-Identifier: Apache-2.0
#include <opc/signatures/SignatureSearch.hpp>

#include <opc/core/Strings.hpp>

#include "signatures/SignatureOrigin.hpp"

#include <algorithm>
#include <array>
#include <iterator>

namespace opc::model {

namespace {

using PartNames = std::set<PartName>;
using Identifiers = SignatureIdentifiers;

constexpr std::array FORMS = {SignatureForm::Standard, SignatureForm::Library}; // which stand for all identifiers

/// Extensions of items that sign the file as a whole.
constexpr std::array PKCS7_EXTENSIONS = {u"p7s", u"p7x"};

/// The signatures of a package by what the forms call them.
class Search {
public:
    explicit Search(const Package& package) : package_(package) {}

    FoundSignatures run() const {
        const PartNames related = findRelatedOrigins();
        PartNames origins = partsOfType(standardForm().originContentType);
        origins.insert(related.begin(), related.end());
        FoundSignatures found;
        found.origins = toTexts(origins);
        found.xml = toTexts(findAll(origins));
        found.standard = toTexts(findStandard(origins));
        found.loose = toTexts(findLoose(origins, related));
        return found;
    }

private:
    static const Identifiers& standardForm() { return getSignatureIdentifiers(SignatureForm::Standard); }
    static const Identifiers& libraryForm() { return getSignatureIdentifiers(SignatureForm::Library); }

    /// The parts that the relationships of a type of a source lead to.
    PartNames targetsOf(const RelationshipSource& source, const char16_t* type) const {
        PartNames names;
        for (const Relationship& relationship : source.getRelationshipsByType(type))
            if (const auto name = partAt(package_, relationship))
                names.insert(*name);
        return names;
    }

    PartNames targetsOf(const PartNames& origins, const Identifiers& form) const {
        PartNames found;
        for (const PartName& origin : origins)
            found.merge(targetsOf(package_.getPart(origin), form.signatureRelationshipType));
        return found;
    }

    PartNames partsOfType(const ContentType& type) const {
        PartNames names;
        for (const Part& part : package_.getParts())
            if (part.getContentType() == type)
                names.insert(part.getName());
        return names;
    }

    /// The origins that relationships of the package lead to.
    PartNames findRelatedOrigins() const {
        PartNames origins;
        for (const SignatureForm form : FORMS)
            origins.merge(targetsOf(package_, getSignatureIdentifiers(form).originRelationshipType));
        return origins;
    }

    /// The signatures that origins lead to.
    PartNames findRelated(const PartNames& origins) const {
        PartNames related;
        for (const SignatureForm form : FORMS)
            related.merge(targetsOf(origins, getSignatureIdentifiers(form)));
        return related;
    }

    /// These, and the parts with a content type of signatures.
    PartNames findAll(const PartNames& origins) const {
        PartNames all = findRelated(origins);
        for (const SignatureForm form : FORMS)
            all.merge(partsOfType(getSignatureIdentifiers(form).signatureContentType));
        return all;
    }

    PartNames findStandard(const PartNames& origins) const {
        PartNames standard = targetsOf(origins, standardForm());
        standard.merge(partsOfType(standardForm().signatureContentType));
        for (const PartName& name : targetsOf(targetsOf(package_, libraryForm().originRelationshipType), libraryForm()))
            standard.erase(name);
        return standard;
    }

    /// @param related those of the origins that relationships of the package lead to.
    PartNames findLoose(const PartNames& origins, const PartNames& related) const {
        PartNames loose = origins;
        loose.merge(findAll(origins));
        for (const PartName& name : findRelated(related))
            loose.erase(name);
        for (const PartName& name : related)
            loose.erase(name);
        return loose;
    }

    static std::set<std::string> toTexts(const PartNames& names) {
        std::set<std::string> texts;
        for (const PartName& name : names)
            texts.insert(detail::toUTF8String(name.toString(), false));
        return texts;
    }

    const Package& package_;
};

bool isPkcs7(const std::string& name) {
    const std::u16string extension = detail::getExtension(toString(name, false));
    return std::any_of(PKCS7_EXTENSIONS.begin(), PKCS7_EXTENSIONS.end(),
                       [&](const char16_t* each) { return caselessCompare(extension, each) == 0; });
}

} // namespace

FoundSignatures findSignatures(const Package& package, const std::vector<std::string>& otherItems) {
    FoundSignatures found = Search(package).run();
    std::copy_if(otherItems.begin(), otherItems.end(), std::inserter(found.pkcs7, found.pkcs7.end()), isPkcs7);
    for (const Part& part : package.getParts())
        if (const std::string name = detail::toUTF8String(part.getName().toString(), false); isPkcs7(name))
            found.pkcs7.insert(name.substr(1));
    return found;
}

} // namespace opc::model
