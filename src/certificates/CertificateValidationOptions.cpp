// SPDX-License-Identifier: Apache-2.0
#include <opc/certificates/CertificateValidationOptions.hpp>

#include <opc/core/Exception.hpp>

namespace opc::certificates {

void CertificateValidationOptions::setPointInTime(const boost::posix_time::ptime& utc) {
    if (utc.is_infinity())
        throw Exception("An infinite time is not a point in time.");
    pointInTime_ = utc;
}

} // namespace opc::certificates
