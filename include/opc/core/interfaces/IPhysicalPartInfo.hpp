// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/interfaces/CompressionType.hpp>

#include <cstdint>
#include <string>

namespace opc::interfaces {

/// What a physical package is told of a part that it creates. Read during the call only.
class OPCRAFT_API IPhysicalPartInfo {
public:
    virtual CompressionType getCompressionType() const = 0;

    /// The expected size in bytes; 0 when it is not known.
    virtual std::uint64_t getGrowthHint() const = 0;

    /// What the caller and the physical package agreed upon under a key; null for none. Not owned.
    virtual void* getExtraInfo(const std::u16string& key) const = 0;

    virtual ~IPhysicalPartInfo();
};

} // namespace opc::interfaces
