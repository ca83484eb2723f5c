// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/interfaces/CompressionType.hpp>

#include <cstdint>
#include <string>

namespace opc::interfaces {

/// Properties of a part that a physical package creates. Read during the call only.
class OPCRAFT_API IPhysicalPartInfo {
public:
    virtual CompressionType getCompressionType() const = 0;

    /// The expected size in bytes; 0 when it is not known.
    virtual std::uint64_t getGrowthHint() const = 0;

    /// Further information by a key that caller and physical package agree upon; null for none. Not owned.
    virtual void* getExtraInfo(const std::u16string& key) const = 0;

    virtual ~IPhysicalPartInfo();
};

} // namespace opc::interfaces
