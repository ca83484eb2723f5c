// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <cstdint>
#include <vector>

namespace opc::model {

/// The forms in which packages store signatures.
enum class SignatureForm : std::int32_t {
    Library,  ///< a form of its own, which no other program reads
    Standard, ///< ECMA-376-2 §10 and Annex E: a package object alone
    Office,   ///< `Standard` with what Microsoft Office adds: an office object (MS-OFFCRYPTO §2.5.2) and XAdES-BES
};

/// All forms, for a manager that is to read whatever signatures a package has. May be called from any thread.
/// @throws std::bad_alloc
OPCRAFT_API std::vector<SignatureForm> getAllSignatureForms();

/// The identifiers by which the signatures of a form are found in a package.
struct SignatureIdentifiers {
    const char16_t* originRelationshipType;      ///< of the package, to the origin part
    const char16_t* signatureRelationshipType;   ///< of the origin part, to a signature part
    const char16_t* certificateRelationshipType; ///< of a signature part, to a certificate part
    const char16_t* originContentType;
    const char16_t* signatureContentType;
    const char16_t* certificateContentType;
};

/// May be called from any thread.
/// @throws opc::Exception for a value that is not an enumerator.
OPCRAFT_API const SignatureIdentifiers& getSignatureIdentifiers(SignatureForm form);

} // namespace opc::model
