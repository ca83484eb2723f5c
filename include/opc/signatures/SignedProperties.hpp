// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/certificates/TimeStamp.hpp>
#include <opc/core/Export.hpp>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <string>
#include <vector>

namespace opc::model {

/// What the signer claims about a signature by XAdES (ETSI TS 101 903 §7, ETSI EN 319 132-1 §5.2). Plain data.
struct SignedProperties {
    /// A digest of a certificate, which names it for good.
    struct CertificateReference {
        std::u16string digestMethod{}; ///< identifier
        std::u16string digestValue{};  ///< base64
        std::u16string issuer{};       ///< a distinguished name as text, whose spelling differs between programs
        std::u16string serialNumber{}; ///< decimal
    };

    std::u16string id{};                    ///< of the SignedProperties element; may be empty
    boost::posix_time::ptime signingTime{}; ///< UTC; not-a-date-time when there is none
    std::u16string signingTimeText{};       ///< as written; empty when there is none
    std::vector<CertificateReference>
        certificates{};                        ///< of SigningCertificate and SigningCertificateV2, in document order
    std::u16string policy{};                   ///< "implied", or the identifier of the policy; empty when there is none
    std::vector<std::u16string> place{};       ///< city, street, state, postal code and country, as far as given
    std::vector<std::u16string> roles{};       ///< claimed
    std::vector<std::u16string> commitments{}; ///< identifiers
    std::vector<std::u16string> commitmentTexts{}; ///< descriptions and qualifiers as text
};

/// What was added to a signature after it was made (XAdES §7.3 to §7.6). None of it is signed.
struct UnsignedProperties {
    /// A `SignatureTimeStamp`.
    struct TimeStamp {
        std::u16string canonicalizationMethod{}; ///< identifier; canonical XML when it names none
        std::vector<unsigned char> token{};      ///< of RFC 3161, in DER
        std::string imprint{};                   ///< the octets that it is over: SignatureValue in canonical form
        std::string problem{};                   ///< why it cannot be examined; empty when it can
    };

    std::vector<TimeStamp> timeStamps{};
    std::vector<std::u16string> others{}; ///< names of the other elements, in document order; they are not checked
};

/// Whether a claim of XAdES agrees with the certificate that verified the signature.
enum class CertificateClaim : std::int32_t {
    None,         ///< there is no claim that is signed
    Holds,        ///< the digest is that of the certificate
    Differs,      ///< the digest is that of another certificate: the signature is not valid
    NotSupported, ///< the digest method is not known: the signature is not valid
};

/// The result of verifying a time stamp.
struct TimeStampReport {
    boost::posix_time::ptime time{}; ///< UTC; not-a-date-time when it cannot be read
    std::string authority{};         ///< the subject of the certificate that signed it; may be empty
    std::u16string digestMethod{};   ///< of the imprint; its identifier, empty when it cannot be read
    bool holds = false;              ///< its signature is valid and its imprint is that of this signature
    bool isTrusted = false;          ///< and its certificate leads to a trusted one, at the time that it states
    std::string problem{};           ///< why it does not hold or is not trusted; empty when it is both
};

} // namespace opc::model
