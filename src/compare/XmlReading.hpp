// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/InputStream.hpp>
#include <opc/core/XmlEvents.hpp>

#include <string>
#include <string_view>

namespace opc::compare {

/// Hands a document to a handler.
/// @throws opc::Exception what the stream throws; and what the handler throws.
detail::XmlEventFault readXml(InputStream& stream, const Limits& limits, detail::XmlEventHandler& handler);

/// "line 2, column 3: mismatched tag".
std::string faultText(const detail::XmlEventFault& fault);

/// "p:name", or "name" without a prefix.
std::string qualifiedName(const detail::XmlEventName& name);

/// Sorts declarations by prefix, and attributes by namespace and name, as canonical XML does.
void sortAttributes(detail::XmlEventElement& element);

/// Whether an attribute holds the Id of a relationship of the part, by its name.
bool isRelationshipId(std::string_view uri, std::string_view name) noexcept;

} // namespace opc::compare
