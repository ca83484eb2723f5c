// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>

#include "support/Throws.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <gtest/gtest.h>

#include <locale>

namespace opc {
namespace {

using boost::posix_time::ptime;

std::string read(const std::string& text) {
    return boost::posix_time::to_iso_extended_string(convertStringToTime(toString(text)));
}

std::string write(const ptime& time, TimeForm form = TimeForm::Seconds) {
    return toASCIIString(convertTimeToString(time, form));
}

TEST(Time, ReadsTheSixGranularitiesIntoUTC) {
    const struct {
        const char* text;
        const char* expected;
        const char* why;
    } table[] = {
        {"2026", "2026-01-01T00:00:00", "the start of the year"},
        {"2026-11", "2026-11-01T00:00:00", "the start of the month"},
        {"2026-11-21", "2026-11-21T00:00:00", "the start of the day"},
        {"2026-11-21T04:53Z", "2026-11-21T04:53:00", "minutes"},
        {"2026-11-21T04:53:07Z", "2026-11-21T04:53:07", "seconds"},
        {"2026-11-21T04:53:07.25Z", "2026-11-21T04:53:07.250000", "a fraction"},
        {"2026-11-21T04:53:07.000001Z", "2026-11-21T04:53:07.000001", "a microsecond"},
        {"2026-11-21T04:53:07.1234569999999999999999Z", "2026-11-21T04:53:07.123456", "finer than a microsecond: cut"},
        {"2026-11-21T04:53:59.9999999Z", "2026-11-21T04:53:59.999999", "never rounded into the next minute"},
        {"2026-11-21T04:53", "2026-11-21T04:53:00", "no zone: UTC"},
        {"2026-11-21T04:53:07.5", "2026-11-21T04:53:07.500000", "no zone: UTC"},
        {"2026-11-21T04:53:07+01:30", "2026-11-21T03:23:07", "east of UTC"},
        {"2026-11-21T04:53-08:00", "2026-11-21T12:53:00", "west of UTC"},
        {"2026-11-21T04:53-00:00", "2026-11-21T04:53:00", "no offset"},
        {"2026-01-01T00:00+23:59", "2025-12-31T00:01:00", "back into the last year"},
        {"2024-02-29T23:30-01:00", "2024-03-01T00:30:00", "out of a leap day"},
        {"2000-02-29", "2000-02-29T00:00:00", "divisible by 400: a leap year"},
        {"1400", "1400-01-01T00:00:00", "the first year that the type holds"},
        {"1399-12-31T23:30-00:30", "1400-01-01T00:00:00", "the offset brings it in"},
        {"9999-12-31T23:59:59.999999Z", "9999-12-31T23:59:59.999999", "the last instant that the type holds"},
    };
    for (const auto& row : table)
        EXPECT_EQ(read(row.text), row.expected) << row.text << ": " << row.why;
}

TEST(Time, GivesNotADateTimeForAnythingElse) {
    const struct {
        const char* text;
        const char* why;
    } table[] = {
        {"", "nothing"},
        {"202", "three digits"},
        {"20266", "five digits"},
        {"202/", "the character before 0"},
        {"202:", "the character behind 9"},
        {"+2026", "a sign"},
        {"2026-", "an open end"},
        {"2026-1", "one digit"},
        {"2026-00", "month 0"},
        {"2026-13", "month 13"},
        {"2026-11-", "an open end"},
        {"2026-11-00", "day 0"},
        {"2026-04-31", "April has 30 days"},
        {"2026-12-32", "no month has 32 days"},
        {"2026-02-29", "no leap year"},
        {"1900-02-29", "divisible by 100: no leap year"},
        {"2026-11-021", "three digits"},
        {"20261121", "the basic format"},
        {"2026/11/21", "other separators"},
        {"2026T04:53Z", "a time needs a day"},
        {"2026-11T04:53Z", "a time needs a day"},
        {"2026-11-21Z", "a zone needs a time"},
        {"2026-11-21 04:53Z", "a space for T"},
        {"2026-11-21t04:53Z", "t in lower case"},
        {"2026-11-21T04:53z", "z in lower case"},
        {"2026-11-21T", "an open end"},
        {"2026-11-21T04", "hours alone"},
        {"2026-11-21T04Z", "hours alone"},
        {"2026-11-21T24:00Z", "hour 24"},
        {"2026-11-21T04:60Z", "minute 60"},
        {"2026-11-21T04:53:60Z", "second 60"},
        {"2026-11-21T04:53:", "an open end"},
        {"2026-11-21T04:53:07.Z", "a fraction without digits"},
        {"2026-11-21T04:53.5Z", "a fraction of a minute"},
        {"2026-11-21T04:53:07,5Z", "a comma"},
        {"2026-11-21T04:53:07.5.5Z", "two fractions"},
        {"2026-11-21T04:53+24:00", "offset hour 24"},
        {"2026-11-21T04:53+01:60", "offset minute 60"},
        {"2026-11-21T04:53+0100", "an offset without a colon"},
        {"2026-11-21T04:53+01", "an offset without minutes"},
        {"2026-11-21T04:53Z+01:00", "two zones"},
        {"2026-11-21T04:53ZZ", "text behind the end"},
        {" 2026", "white space in front"},
        {"2026-11-21T04:53Z\n", "white space behind"},
        {"0000", "before what the type holds"},
        {"1399-12-31T23:59:59.999999Z", "before what the type holds"},
        {"1400-01-01T00:00+00:01", "the offset takes it out"},
        {"9999-12-31T23:59-00:01", "the offset takes it out"},
    };
    for (const auto& row : table)
        EXPECT_EQ(read(row.text), "not-a-date-time") << row.text << ": " << row.why;
    EXPECT_TRUE(convertStringToTime(std::u16string(u"2026\0", 5)).is_not_a_date_time());
    EXPECT_TRUE(convertStringToTime(u"\xFF12\xFF10\xFF12\xFF16").is_not_a_date_time()); // full-width digits
    EXPECT_TRUE(convertStringToTime(std::u16string(1'000'000, u'2')).is_not_a_date_time());
}

TEST(Time, WritesSecondsWithAFractionOnlyWhenThereIsOne) {
    const struct {
        const char* text; // which is what the seconds form writes, too
        const char* minutes;
    } table[] = {
        {"2026-01-02T03:04:05Z", "2026-01-02T03:04Z"},        {"2026-11-21T23:59:59.999999Z", "2026-11-21T23:59Z"},
        {"2026-11-21T00:00:00.5Z", "2026-11-21T00:00Z"},      {"2026-11-21T00:00:00.000001Z", "2026-11-21T00:00Z"},
        {"2026-11-21T10:20:30.0101Z", "2026-11-21T10:20Z"},   {"1400-01-01T00:00:00Z", "1400-01-01T00:00Z"},
        {"9999-12-31T23:59:59.999999Z", "9999-12-31T23:59Z"},
    };
    for (const auto& row : table) {
        const ptime time = convertStringToTime(toString(row.text));
        EXPECT_EQ(write(time), row.text);
        EXPECT_EQ(write(time, TimeForm::Minutes), row.minutes);
    }
}

TEST(Time, WhatIsWrittenReadsBackEqual) {
    ptime time(boost::gregorian::date(1400, 1, 1));
    const auto step = boost::posix_time::hours(24 * 97 + 5) + boost::posix_time::microseconds(1'234'567'891);
    const ptime last(boost::gregorian::date(9999, 9, 1));
    for (; time < last; time += step)
        ASSERT_EQ(convertStringToTime(convertTimeToString(time)), time) << time;
}

TEST(Time, SpecialTimesCannotBeWritten) {
    for (const auto special :
         {boost::posix_time::not_a_date_time, boost::posix_time::pos_infin, boost::posix_time::neg_infin})
        EXPECT_TRUE(test::throwsSaying<Exception>("not a date and time", [&] { write(ptime(special)); }));
}

// Groups digits and writes them with a decimal comma.
class StrangeNumbers : public std::numpunct<char> {
    char do_thousands_sep() const override { return '\''; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\1"; }
};

TEST(Time, TheGlobalLocaleIsNotAsked) {
    const std::locale before = std::locale::global(std::locale(std::locale(), new StrangeNumbers));
    const std::string written = write(convertStringToTime(u"2026-11-21T10:20:30.125Z"));
    std::locale::global(before);
    EXPECT_EQ(written, "2026-11-21T10:20:30.125Z");
}

} // namespace
} // namespace opc
