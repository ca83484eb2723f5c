// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <opc/core/Export.hpp>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <string>
#include <string_view>

namespace opc {

/// Which W3CDTF form `convertTimeToString` writes.
enum class TimeForm {
    Seconds, ///< YYYY-MM-DDThh:mm:ssZ, with a fraction when it is not zero
    Minutes, ///< YYYY-MM-DDThh:mmZ; seconds and fraction are cut off
};

/// Reads a W3CDTF date and time (W3C NOTE-datetime) in any of its six granularities, into UTC.
///
/// What a granularity omits is the start of the period ("2026" is the first of January, 00:00). A
/// time without a zone is taken as UTC. Digits of a fraction past the microsecond are cut off. Years 1400
/// to 9999, the offset applied, are the range of the time type.
/// @return `not_a_date_time` for anything else, white space around the text included; never throws for
///         its content.
OPCRAFT_API boost::posix_time::ptime convertStringToTime(std::u16string_view text);
OPCRAFT_API boost::posix_time::ptime convertStringToTime(std::string_view text);

/// Writes a UTC time in W3CDTF. What the seconds form writes reads back equal, to the microsecond; a fraction has
/// no trailing zeros.
/// @throws opc::Exception when the time is special (not-a-date-time or an infinity).
OPCRAFT_API std::u16string convertTimeToString(const boost::posix_time::ptime& time, TimeForm form = TimeForm::Seconds);

} // namespace opc
