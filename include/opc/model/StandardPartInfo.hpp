// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>
#include <opc/core/interfaces/IPhysicalPartInfo.hpp>

#include <cstdint>

namespace opc::model {

/// How a new part is stored: a compression and an expected size, nothing else.
class OPCRAFT_API StandardPartInfo final : public interfaces::IPhysicalPartInfo {
public:
    /// @param growthHint the expected size in bytes; 0 when it is not known.
    explicit StandardPartInfo(interfaces::CompressionType compressionType = interfaces::CompressionType::Normal,
                              unsigned long growthHint = 0);
    ~StandardPartInfo() override;

    interfaces::CompressionType getCompressionType() const override;
    std::uint64_t getGrowthHint() const override;
    /// Null for every key.
    void* getExtraInfo(const std::u16string& key) const override;

private:
    interfaces::CompressionType compressionType_;
    unsigned long growthHint_;
};

} // namespace opc::model
