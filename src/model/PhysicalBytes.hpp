// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

namespace opc::interfaces {
class IPhysicalInputStream;
class IPhysicalOutputStream;
} // namespace opc::interfaces

namespace opc::model {

/// Reads a stored XML item whole, so that a failure of the store is told from one of the content. Of an item that is
/// longer than any XML that is accepted, only as much is read as shows it.
/// @throws opc::Exception what the store throws.
std::vector<unsigned char> readXmlItem(interfaces::IPhysicalInputStream& stream);

/// Replaces what is stored by the bytes. After a failure the next write starts afresh.
/// @throws opc::Exception what the store throws.
void replaceItem(interfaces::IPhysicalOutputStream& stream, const std::vector<unsigned char>& bytes);

} // namespace opc::model
