// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opcraft/Tool.hpp"

#include <opc/signatures/DigitalSignatureData.hpp>

#include <cstddef>
#include <string>

namespace opcraft {

/// Lines with what the signer claims by XAdES, and with the properties that were added later; empty when there are
/// none.
std::string claimLines(const opc::model::DigitalSignatureData& data);

/// A certificate that XAdES names: "issuer CN=root, serial number 42"; empty when it names none.
/// @param place which one.
std::string claimedCertificateText(const opc::model::SignedProperties& properties, std::size_t place = 0);

/// The claims of XAdES; null when there are none.
Json propertiesJson(const opc::model::DigitalSignatureData& data);
/// The properties that were added later; null when there are no qualifying properties at all.
Json unsignedPropertiesJson(const opc::model::DigitalSignatureData& data);

} // namespace opcraft
