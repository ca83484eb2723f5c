// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Tool.hpp"

#include <opc/core/Time.hpp>
#include <opc/signatures/DigitalSignatureManager.hpp>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace opcraft {

/// A signature as reports show it: its own claims, unverified.
struct SignatureEntry {
    std::string name{};
    std::string part{};
    opc::model::SignatureForm form = opc::model::SignatureForm::Library;
    bool isCountersignature = false;
    std::string problem{}; ///< why it cannot be read; the other members below are empty then
    std::string time{};    ///< in UTC; empty when it is not known
    opc::model::SignatureAlgorithm algorithm{};
    opc::certificates::X509Certificate certificate{}; ///< empty when a bare key decides, or the signature has neither
    std::string fingerprint{};                        ///< of the public key; empty when it is not known
    std::size_t parts = 0;
    std::size_t relationships = 0;
    std::shared_ptr<const opc::model::DigitalSignatureData> data{}; ///< not null; what else it claims
};

SignatureEntry entryOf(const opc::model::DigitalSignatureManager& manager,
                       const opc::model::DigitalSignature& signature);

/// A line: "sig1", or "sig1 (the countersignature)".
std::string titleOf(const SignatureEntry& entry);
/// Lines with the form and the time.
std::string headLines(const SignatureEntry& entry);
/// "RSA with 1024 bits (weak), SHA-256".
std::string algorithmOf(const SignatureEntry& entry);
/// The names of the weak ones of the key and the digest of the signature value.
std::vector<std::string> weakAlgorithmsOf(const SignatureEntry& entry);
/// The name of a weak digest; empty for any other.
/// @param identifier its URI.
std::string weakDigestName(const std::u16string& identifier);
std::string digestName(opc::model::DigestMethod method);
/// The method with an identifier; none when it is not known.
std::optional<opc::model::DigestMethod> findDigestMethod(const std::u16string& identifier);

/// The SHA-256 digest in hexadecimal.
std::string fingerprintOf(const std::vector<unsigned char>& der);

/// W3CDTF in UTC; empty for a special value.
std::string timeText(const boost::posix_time::ptime& time, opc::TimeForm form = opc::TimeForm::Seconds);

/// A line below a title, with the text escaped.
std::string detailLine(const std::string& label, const std::string& text);

/// Null for an empty certificate.
Json toJson(const opc::certificates::X509Certificate& certificate);
/// The members that all reports have of a signature.
Json toJson(const SignatureEntry& entry);

} // namespace opcraft
