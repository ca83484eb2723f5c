// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/signatures/SignatureParams.hpp>

#include <cstdint>
#include <string>

namespace opc::model {

/// The algorithms with an identifier. The tag of a digest equals its `DigestMethod`; the tag of the RSA signature with
/// that digest is 6 higher.
enum class AlgorithmTag : std::int32_t {
    DigestMD5 = 0,
    DigestSHA1 = 1,
    DigestSHA224 = 2,
    DigestSHA256 = 3,
    DigestSHA384 = 4,
    DigestSHA512 = 5,
    SignatureRSAMD5 = 6,
    SignatureRSASHA1 = 7,
    SignatureRSASHA224 = 8,
    SignatureRSASHA256 = 9,
    SignatureRSASHA384 = 10,
    SignatureRSASHA512 = 11,
    CanonicalizationC14N = 12,
};

/// Converts between algorithms and their identifiers in XML signatures (XML-DSig §6, RFC 6931 §2).
///
/// Identifiers are compared exactly. Stateless; every function may be called from any thread. Exceptions are of class
/// `opc::Exception` itself.
class OPCRAFT_API AlgorithmURIMap {
public:
    /// @throws opc::Exception for a value that is not an enumerator.
    static std::u16string getAlgorithmURI(AlgorithmTag tag);

    /// The identifier of the digest.
    /// @throws opc::Exception for a value that is not an enumerator.
    static std::u16string getAlgorithmURI(DigestMethod digestMethod);

    /// The identifier of the signature, which is the same for all key sizes.
    /// @throws opc::Exception for a value that is not an enumerator; the signature method is checked first.
    static std::u16string getAlgorithmURI(DigestMethod digestMethod, SignatureMethod signatureMethod);

    /// @throws opc::Exception for an unknown identifier.
    static AlgorithmTag getAlgorithmTag(const std::u16string& identifier);

    /// @throws opc::Exception for an identifier that is unknown or not that of a digest.
    static DigestMethod getDigestMethod(const std::u16string& identifier);

    /// The parameters for the identifier of a signature. It does not contain the key size, which is always reported as
    /// 2048 bits.
    /// @throws opc::Exception for an identifier that is unknown or not that of a signature.
    static SignatureParams getSigningParameters(const std::u16string& identifier);
};

} // namespace opc::model
