// SPDX-License-Identifier: Apache-2.0
#include <opc/model/StandardPartInfo.hpp>

namespace opc::model {

StandardPartInfo::StandardPartInfo(interfaces::CompressionType compressionType, unsigned long growthHint)
    : compressionType_(compressionType), growthHint_(growthHint) {}

StandardPartInfo::~StandardPartInfo() = default;

interfaces::CompressionType StandardPartInfo::getCompressionType() const {
    return compressionType_;
}

std::uint64_t StandardPartInfo::getGrowthHint() const {
    return growthHint_;
}

void* StandardPartInfo::getExtraInfo(const std::u16string& /*key*/) const {
    return nullptr;
}

} // namespace opc::model
