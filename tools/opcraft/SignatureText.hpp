// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Tool.hpp"

#include <opc/signatures/DigitalSignatureManager.hpp>
#include <opc/signatures/SignatureSummary.hpp>

#include <string>

namespace opcraft {

using opc::model::SignatureSummary;

/// A line: "sig1", or "sig1 (the countersignature)".
std::string titleOf(const SignatureSummary& signature);
/// Lines with the form and the time.
std::string headLines(const SignatureSummary& signature);
/// "RSA with 1024 bits (weak), SHA-256".
std::string algorithmOf(const SignatureSummary& signature);

/// W3CDTF in UTC; empty for a special value.
std::string timeText(const boost::posix_time::ptime& time);

/// A line below a title, with the text escaped.
std::string detailLine(const std::string& label, const std::string& text);

/// The subject, or that there is none.
std::string subjectText(const opc::certificates::X509Certificate& certificate);
/// Null for an empty certificate.
Json toJson(const opc::certificates::X509Certificate& certificate);
/// The members that all reports have of a signature.
Json toJson(const SignatureSummary& signature);

} // namespace opcraft
