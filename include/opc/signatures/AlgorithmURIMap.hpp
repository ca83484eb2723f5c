// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/signatures/SignatureParams.hpp>

#include <cstdint>
#include <string>

namespace opc::model {

/// The algorithms that have an identifier here. A digest's tag is the value of its `DigestMethod`, that of the
/// signature with it 6 more.
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

/// Converts between algorithms and the identifiers that XML signatures name them by (XML-DSig §6, RFC 6931 §2).
///
/// Identifiers compare unit by unit. No state; every function may be called from any thread. What they throw is
/// `opc::Exception` itself.
class OPCRAFT_API AlgorithmURIMap {
public:
    /// @throws opc::Exception for a value that is no enumerator.
    static std::u16string getAlgorithmURI(AlgorithmTag tag);

    /// The identifier of the digest.
    /// @throws opc::Exception for a value that is no enumerator.
    static std::u16string getAlgorithmURI(DigestMethod digestMethod);

    /// The identifier of the signature. It is the same for all sizes of the key.
    /// @throws opc::Exception for a value that is no enumerator; the signature method is looked at first.
    static std::u16string getAlgorithmURI(DigestMethod digestMethod, SignatureMethod signatureMethod);

    /// @throws opc::Exception for an identifier that is not known.
    static AlgorithmTag getAlgorithmTag(const std::u16string& identifier);

    /// @throws opc::Exception for an identifier that is not known, or not one of a digest.
    static DigestMethod getDigestMethod(const std::u16string& identifier);

    /// What the identifier of a signature says. It does not say the size of the key: that is always reported as 2048
    /// bits.
    /// @throws opc::Exception for an identifier that is not known, or not one of a signature.
    static SignatureParams getSigningParameters(const std::u16string& identifier);
};

} // namespace opc::model
