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
inline constexpr char16_t MINUTES_FORMAT[] = u"YYYY-MM-DDThh:mmTZD";
inline constexpr char16_t SECONDS_FORMAT[] = u"YYYY-MM-DDThh:mm:ssTZD";
inline constexpr char16_t CONTENT_TYPE_QUERY[] = u"?ContentType=";

// The names of signatures.
inline constexpr char16_t SIGNATURE_NAME_PREFIX[] = u"sig";
inline constexpr char16_t COUNTERSIGNATURE_ID[] = u"countersig";
inline constexpr char16_t SIGNATURE_RELATIONSHIP_ID_PREFIX[] = u"DSRel";

/// How an object is serialized before its digest is computed.
enum class ObjectDigestForm {
    PlainText, ///< the element as it is serialized, without its declaration of the XML-DSig namespace
};

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
    ObjectDigestForm objectDigestForm;

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

/// @throws NotImplemented for a form that is neither read nor written.
const SignatureFormRules& rulesOf(SignatureForm form);

} // namespace opc::model
