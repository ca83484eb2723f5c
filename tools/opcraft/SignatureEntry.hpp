// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>

#include <opc/signatures/DigitalSignature.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace opcraft {

struct CertificateEntry {
    std::string subject;
    std::string issuer;
    std::string serialNumber;
    std::string notBefore; ///< in UTC; empty when it is not known
    std::string notAfter;
    unsigned keySize = 0; ///< in bits
};

CertificateEntry entryOf(const opc::certificates::X509Certificate& certificate);

/// A signature as it is reported: what it says of itself. Nothing of that is verified.
struct SignatureEntry {
    std::string name;
    std::string part;
    bool isCountersignature = false;
    std::string time; ///< in UTC; empty when it is not known
    std::string digest;
    unsigned keySize = 0;                        ///< in bits
    std::optional<CertificateEntry> certificate; ///< none when a bare key decides, or nothing came along
    std::string fingerprint;                     ///< of the public key; empty when it is none for RSA
    std::size_t parts = 0;
    std::size_t relationships = 0;
};

SignatureEntry entryOf(const opc::model::DigitalSignature& signature);

/// "sig1", with what is special about it.
std::string titleOf(const SignatureEntry& entry);
/// "RSA with 1024 bits (weak), SHA-256".
std::string algorithmOf(const SignatureEntry& entry);
/// The names of those that are weak, of the key and of the digest of the signature value.
std::vector<std::string> weakAlgorithmsOf(const SignatureEntry& entry);
/// The name of a digest that is weak; empty for any other.
std::string weakDigestName(const std::u16string& identifier);

/// A line under a title, with the text escaped.
std::string detailLine(const std::string& label, const std::string& text);

nlohmann::ordered_json toJson(const std::optional<CertificateEntry>& entry);
/// What all reports say of a signature.
nlohmann::ordered_json toJson(const SignatureEntry& entry);

} // namespace opcraft
