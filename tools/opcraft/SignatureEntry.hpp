// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Tool.hpp"

#include <opc/core/Time.hpp>
#include <opc/signatures/DigitalSignature.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace opcraft {

/// A signature as reports show it: its own claims, unverified.
struct SignatureEntry {
    std::string name{};
    std::string part{};
    bool isCountersignature = false;
    std::string time{}; ///< in UTC; empty when it is not known
    std::string digest{};
    unsigned keySize = 0;                             ///< in bits
    opc::certificates::X509Certificate certificate{}; ///< empty when a bare key decides, or the signature has neither
    std::string fingerprint{};                        ///< of the public key; empty when it is not an RSA key
    std::size_t parts = 0;
    std::size_t relationships = 0;
};

SignatureEntry entryOf(const opc::model::DigitalSignature& signature);

/// "sig1", or "sig1 (the countersignature)".
std::string titleOf(const SignatureEntry& entry);
/// "RSA with 1024 bits (weak), SHA-256".
std::string algorithmOf(const SignatureEntry& entry);
/// The names of the weak ones of the key and the digest of the signature value.
std::vector<std::string> weakAlgorithmsOf(const SignatureEntry& entry);
/// The name of a weak digest; empty for any other.
/// @param identifier its URI.
std::string weakDigestName(const std::u16string& identifier);

/// W3CDTF in UTC; empty for a special value.
std::string timeText(const boost::posix_time::ptime& time, opc::TimeForm form = opc::TimeForm::Seconds);

/// A line below a title, with the text escaped.
std::string detailLine(const std::string& label, const std::string& text);

/// Null for an empty certificate.
Json toJson(const opc::certificates::X509Certificate& certificate);
/// The members that all reports have of a signature.
Json toJson(const SignatureEntry& entry);

} // namespace opcraft
