// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/signatures/DigitalSignatureData.hpp>

#include <xercesc/dom/DOMElement.hpp>

#include <cstddef>
#include <vector>

namespace opc::model {

/// Each certificate costs one signature verification.
inline constexpr std::size_t MAXIMUM_CERTIFICATES = 100;

/// Reads what a signature in a standard form says of its key (XML-DSig §4.4): key value and hints go to the data.
/// @return the certificates, in document order.
/// @throws InvalidPartContent
std::vector<certificates::X509Certificate> readKeyInfo(const xercesc::DOMElement& keyInfo, DigitalSignatureData& data);

/// Whether the key of a certificate verifies a signature in a standard form. False also for a key that is not
/// supported.
bool isSignedBy(const DigitalSignatureData& data, const certificates::X509Certificate& certificate);

/// Of certificates, the one whose key verifies a signature in a standard form becomes that of the signer, or the first
/// when none does. The others become the chain, in their order. Without certificates nothing changes.
/// @param data with its value, its algorithm and the octets of `SignedInfo`.
void chooseStandardSigner(DigitalSignatureData& data, std::vector<certificates::X509Certificate> certificates);

/// Takes over what the key says of itself: its size in `standard.algorithm`, and `signatureParams` as far as they can
/// express it.
void describeStandardKey(DigitalSignatureData& data);

} // namespace opc::model
