// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <functional>

namespace opc::model {

/// The one place from which the time of signing comes: the system's clock, in UTC.
/// @throws std::runtime_error when the system's time cannot be told in UTC; std::out_of_range when it lies outside of
///         the years 1400 to 9999.
boost::posix_time::ptime signingTime();

/// Another clock, for checks; empty for the system's. Not while another thread signs.
void setSigningClock(std::function<boost::posix_time::ptime()> clock);

} // namespace opc::model
