// SPDX-License-Identifier: Apache-2.0
#include <opc/core/interfaces/IPhysicalContentTypes.hpp>
#include <opc/core/interfaces/IPhysicalFindings.hpp>
#include <opc/core/interfaces/IPhysicalInputStream.hpp>
#include <opc/core/interfaces/IPhysicalItems.hpp>
#include <opc/core/interfaces/IPhysicalOtherItems.hpp>
#include <opc/core/interfaces/IPhysicalOutputStream.hpp>
#include <opc/core/interfaces/IPhysicalPackage.hpp>
#include <opc/core/interfaces/IPhysicalParallelReading.hpp>
#include <opc/core/interfaces/IPhysicalPart.hpp>
#include <opc/core/interfaces/IPhysicalPartInfo.hpp>
#include <opc/core/interfaces/IPhysicalRenaming.hpp>

namespace opc::interfaces {

// The destructors are defined here so that each interface has one type information for all shared libraries.
IPhysicalContentTypes::~IPhysicalContentTypes() = default;
IPhysicalFindings::~IPhysicalFindings() = default;
IPhysicalInputStream::~IPhysicalInputStream() = default;
IPhysicalItems::~IPhysicalItems() = default;
IPhysicalOtherItems::~IPhysicalOtherItems() = default;
IPhysicalOutputStream::~IPhysicalOutputStream() = default;
IPhysicalPackage::~IPhysicalPackage() = default;
IPhysicalParallelReading::~IPhysicalParallelReading() = default;
IPhysicalPart::~IPhysicalPart() = default;
IPhysicalPartInfo::~IPhysicalPartInfo() = default;
IPhysicalRenaming::~IPhysicalRenaming() = default;

} // namespace opc::interfaces
