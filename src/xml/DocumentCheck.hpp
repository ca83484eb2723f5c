// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Limits.hpp>

#include <xercesc/dom/DOMDocument.hpp>

namespace opc::model {

/// Refuses before a write what the serializer would write incompletely or incorrectly, or what could not be read
/// again within the limits for XML.
/// @throws InvalidXMLDocument naming what cannot be written.
void throwIfNotWritable(const xercesc::DOMDocument& document, const Limits& limits);

} // namespace opc::model
