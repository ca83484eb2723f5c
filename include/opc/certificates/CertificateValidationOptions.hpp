// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <boost/date_time/posix_time/posix_time_types.hpp>

namespace opc::certificates {

/// What is asked of a signer's certificate, and for when: at first everything, for now.
///
/// A value; used by one thread at a time, copies by others.
class OPCRAFT_API CertificateValidationOptions {
public:
    /// The point in time, in UTC, at which certificates have to be valid; not-a-date-time stands for the time at which
    /// they are looked at. Fractions of a second do not count.
    const boost::posix_time::ptime& getPointInTime() const noexcept { return pointInTime_; }
    /// @throws opc::Exception for an infinity.
    void setPointInTime(const boost::posix_time::ptime& utc);

    /// Whether the point in time has to lie within the validity of the certificates.
    bool checksValidityTime() const noexcept { return validityTime_; }
    void setCheckValidityTime(bool check) noexcept { validityTime_ = check; }

    /// Whether the certificate has to be one for digital signatures.
    bool checksPurpose() const noexcept { return purpose_; }
    void setCheckPurpose(bool check) noexcept { purpose_ = check; }

    /// Whether a trusted certificate has to vouch for the certificate.
    bool checksChain() const noexcept { return chain_; }
    void setCheckChain(bool check) noexcept { chain_ = check; }

private:
    boost::posix_time::ptime pointInTime_;
    bool validityTime_ = true;
    bool purpose_ = true;
    bool chain_ = true;
};

} // namespace opc::certificates
