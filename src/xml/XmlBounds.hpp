// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

/// The bounds of `XercesHelper`, applied to what is read and, so that it can be read again, to what is written.
namespace opc::model {

/// @throws InvalidXMLDocument for more bytes than the maximum.
void throwIfTooLarge(std::uint64_t bytes, std::uint64_t maximum);

/// @throws InvalidXMLDocument for an element deeper than the maximum.
void throwIfTooDeep(std::uint64_t depth, std::uint64_t maximum);

/// @throws InvalidXMLDocument for more attributes than `XercesHelper::MAX_XML_ATTRIBUTES`.
void throwIfTooManyAttributes(std::uint64_t count);

/// @throws InvalidXMLDocument for more nodes than the maximum.
void throwIfTooManyNodes(std::uint64_t count, std::uint64_t maximum);

/// @throws InvalidXMLDocument for more names than `XercesHelper::MAX_XML_NAMES`.
void throwIfTooManyNames(std::uint64_t count);

/// @throws InvalidXMLDocument for more comparisons than `XercesHelper::MAX_XML_ID_COMPARISONS`.
void throwIfTooManyIdComparisons(std::uint64_t count);

/// Whether an attribute of this name declares a namespace.
bool isNamespaceDeclaration(std::u16string_view name);

/// @throws InvalidXMLDocument for a namespace longer than `XercesHelper::MAX_XML_NAMESPACE_LENGTH`.
void throwIfNamespaceTooLong(std::uint64_t length);

} // namespace opc::model
