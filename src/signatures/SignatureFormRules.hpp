// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/AlgorithmURIMap.hpp>
#include <opc/signatures/SignatureForm.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace opc::model {

// Fixed by XML-DSig and ECMA-376-2 Annex E for every form.
inline constexpr char16_t DSIG_NAMESPACE[] = u"http://www.w3.org/2000/09/xmldsig#";
inline constexpr char16_t PACKAGE_SIGNATURE_NAMESPACE[] =
    u"http://schemas.openxmlformats.org/package/2006/digital-signature";
inline constexpr char16_t PACKAGE_OBJECT_ID[] = u"idPackageObject";
inline constexpr char16_t SIGNATURE_TIME_ID[] = u"idSignatureTime";
inline constexpr char16_t CANONICAL_XML[] = u"http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
inline constexpr char16_t CANONICAL_XML_WITH_COMMENTS[] =
    u"http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments";
inline constexpr char16_t MINUTES_FORMAT[] = u"YYYY-MM-DDThh:mmTZD";
inline constexpr char16_t SECONDS_FORMAT[] = u"YYYY-MM-DDThh:mm:ssTZD";
inline constexpr char16_t CONTENT_TYPE_QUERY[] = u"?ContentType=";

// The names of signatures.
inline constexpr char16_t SIGNATURE_NAME_PREFIX[] = u"sig";
inline constexpr char16_t COUNTERSIGNATURE_ID[] = u"countersig";
inline constexpr char16_t SIGNATURE_RELATIONSHIP_ID_PREFIX[] = u"DSRel";

/// What differs between the forms of signatures.
struct SignatureFormRules : SignatureIdentifiers {
    SignatureForm form;
    const char16_t* originPartName;
    const char16_t* folder; ///< of new signature parts

    const char16_t* relationshipTransform;                         ///< written
    std::array<const char16_t*, 2> acceptedRelationshipTransforms; ///< read
    const char16_t* groupReferenceElement;                         ///< written
    std::array<const char16_t*, 2> acceptedGroupReferenceElements; ///< read

    AlgorithmTag canonicalization; ///< the only one, of `SignedInfo` and after a relationships transform
    const char16_t* objectReferenceType;

    bool isStandard() const noexcept { return form != SignatureForm::Library; }

    bool isRelationshipTransform(std::u16string_view identifier) const {
        return isOneOf(identifier, acceptedRelationshipTransforms);
    }
    bool isGroupReference(std::u16string_view localName) const {
        return isOneOf(localName, acceptedGroupReferenceElements);
    }

private:
    template <std::size_t count>
    static bool isOneOf(std::u16string_view text, const std::array<const char16_t*, count>& texts) {
        return std::find(texts.begin(), texts.end(), text) != texts.end();
    }
};

/// The name of a signature by its id: "sig" and the id. In the standard forms an id that is not a number is the name.
std::u16string makeSignatureName(SignatureForm form, const std::u16string& id);

/// @throws opc::Exception for a value that is not an enumerator.
const SignatureFormRules& rulesOf(SignatureForm form);

} // namespace opc::model
