// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <boost/date_time/posix_time/posix_time_types.hpp>

namespace opc::certificates {

/// Which checks of a signer's certificate are made, and for which point in time. The default is all checks, for now.
///
/// A value; used by one thread at a time, copies by others.
class OPCRAFT_API CertificateValidationOptions {
public:
    /// The point in time, in UTC, at which certificates have to be valid; not-a-date-time stands for the time of
    /// validation. Fractions of a second are ignored.
    const boost::posix_time::ptime& getPointInTime() const noexcept { return pointInTime_; }
    /// @throws opc::Exception for an infinity.
    void setPointInTime(const boost::posix_time::ptime& utc);

    /// Whether the point in time has to be within the validity period of the certificates.
    bool checksValidityTime() const noexcept { return validityTime_; }
    void setCheckValidityTime(bool check) noexcept { validityTime_ = check; }

    /// Whether the purpose of the certificate has to include digital signatures.
    bool checksPurpose() const noexcept { return purpose_; }
    void setCheckPurpose(bool check) noexcept { purpose_ = check; }

    /// Whether a chain has to lead from the certificate to a trusted one.
    bool checksChain() const noexcept { return chain_; }
    void setCheckChain(bool check) noexcept { chain_ = check; }

private:
    boost::posix_time::ptime pointInTime_;
    bool validityTime_ = true;
    bool purpose_ = true;
    bool chain_ = true;
};

} // namespace opc::certificates
