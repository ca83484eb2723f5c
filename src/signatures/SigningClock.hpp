// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <functional>

namespace opc::model {

/// The time of signing: that of the system clock, in UTC.
/// @throws std::runtime_error when the system time cannot be converted to UTC; std::out_of_range when it is outside of
///         the years 1400 to 9999.
boost::posix_time::ptime signingTime();

/// Replaces the clock, for tests; empty restores the system clock. Not while another thread signs.
void setSigningClock(std::function<boost::posix_time::ptime()> clock);

} // namespace opc::model
