// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <xercesc/dom/DOMDocument.hpp>

namespace opc::model {

/// Refuses before a write what the serializer would write in part or write wrong, or what could not be read again.
/// @throws InvalidXMLDocument naming what cannot be written.
void throwIfNotWritable(const xercesc::DOMDocument& document);

} // namespace opc::model
