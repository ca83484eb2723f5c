// SPDX-License-Identifier: Apache-2.0
#include "signatures/SignatureFormRules.hpp"

#include <opc/errors/Errors.hpp>

namespace opc::model {

namespace {

// The relationship types and the content type of signatures lack a hyphen that those of ECMA-376-2 Annex E have, and
// the transform is written under the name that it had before the standard: packages signed this way exist.
constexpr SignatureIdentifiers LIBRARY_IDENTIFIERS{
    u"http://schemas.openxmlformats.org/package/2006/relationships/digitalsignature/origin",
    u"http://schemas.openxmlformats.org/package/2006/relationships/digitalsignature/signature",
    u"http://schemas.openxmlformats.org/package/2006/relationships/digital-signature/certificate",
    u"application/vnd.openxmlformats-package.digital-signature-origin",
    u"application/vnd.openxmlformats-package.digital-signaturexmlsignature+xml",
    u"application/vnd.openxmlformats-package.digital-signature-certificate",
};

constexpr SignatureIdentifiers STANDARD_IDENTIFIERS{
    u"http://schemas.openxmlformats.org/package/2006/relationships/digital-signature/origin",
    u"http://schemas.openxmlformats.org/package/2006/relationships/digital-signature/signature",
    u"http://schemas.openxmlformats.org/package/2006/relationships/digital-signature/certificate",
    u"application/vnd.openxmlformats-package.digital-signature-origin",
    u"application/vnd.openxmlformats-package.digital-signature-xmlsignature+xml",
    u"application/vnd.openxmlformats-package.digital-signature-certificate",
};

constexpr SignatureFormRules LIBRARY_RULES{
    LIBRARY_IDENTIFIERS,
    SignatureForm::Library,
    u"/_xmlsignatures/origin.sigs",
    u"/_xmlsignatures",
    u"http://schemas.openxmlformats.org/package/2005/06/RelationshipTransform",
    {u"http://schemas.openxmlformats.org/package/2006/RelationshipTransform",
     u"http://schemas.openxmlformats.org/package/2005/06/RelationshipTransform"},
    u"RelationshipGroupReference",
    {u"RelationshipGroupReference", u"RelationshipsGroupReference"},
    AlgorithmTag::CanonicalizationC14N,
    u"http://www.w3.org/2000/09/xmldsig#Object",
};

constexpr SignatureFormRules makeStandardRules(SignatureForm form) {
    return {
        STANDARD_IDENTIFIERS,
        form,
        u"/_xmlsignatures/origin.sigs",
        u"/_xmlsignatures",
        u"http://schemas.openxmlformats.org/package/2006/RelationshipTransform",
        LIBRARY_RULES.acceptedRelationshipTransforms,
        u"RelationshipsGroupReference",
        LIBRARY_RULES.acceptedGroupReferenceElements,
        AlgorithmTag::CanonicalizationC14N,
        LIBRARY_RULES.objectReferenceType,
    };
}

constexpr SignatureFormRules STANDARD_RULES = makeStandardRules(SignatureForm::Standard);
constexpr SignatureFormRules OFFICE_RULES = makeStandardRules(SignatureForm::Office);

} // namespace

std::vector<SignatureForm> getAllSignatureForms() {
    return {SignatureForm::Library, SignatureForm::Standard, SignatureForm::Office};
}

const SignatureIdentifiers& getSignatureIdentifiers(SignatureForm form) {
    switch (form) {
    case SignatureForm::Library:
        return LIBRARY_IDENTIFIERS;
    case SignatureForm::Standard:
    case SignatureForm::Office:
        return STANDARD_IDENTIFIERS;
    }
    throw Exception("Unknown signature form.");
}

std::u16string makeSignatureName(SignatureForm form, const std::u16string& id) {
    const bool isNumber = id.find_first_not_of(u"0123456789") == std::u16string::npos;
    return form == SignatureForm::Library || isNumber ? SIGNATURE_NAME_PREFIX + id : id;
}

const SignatureFormRules& rulesOf(SignatureForm form) {
    switch (form) {
    case SignatureForm::Library:
        return LIBRARY_RULES;
    case SignatureForm::Standard:
        return STANDARD_RULES;
    case SignatureForm::Office:
        return OFFICE_RULES;
    }
    throw Exception("Unknown signature form.");
}

} // namespace opc::model
