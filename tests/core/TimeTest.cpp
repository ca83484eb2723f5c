// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>
#include <opc/core/Time.hpp>

#include "support/Table.hpp"
#include "support/Throws.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <gtest/gtest.h>

#include <locale>

namespace opc {
namespace {

using boost::posix_time::ptime;

std::string write(const ptime& time, TimeForm form = TimeForm::Seconds) {
    return toASCIIString(convertTimeToString(time, form));
}

TEST(Time, ReadsTheSixGranularitiesIntoUTCAndNothingElse) {
    for (const auto& row : test::readTable("core/times.tsv"))
        EXPECT_EQ(boost::posix_time::to_iso_extended_string(convertStringToTime(toString(row[0]))), row[1])
            << row[0] << ": " << row[2];
    EXPECT_TRUE(convertStringToTime(u"2026-11-21T04:53Z\n").is_not_a_date_time());
    EXPECT_TRUE(convertStringToTime(std::u16string(u"2026\0", 5)).is_not_a_date_time());
    EXPECT_TRUE(convertStringToTime(u"\xFF12\xFF10\xFF12\xFF16").is_not_a_date_time()); // full-width digits
    EXPECT_TRUE(convertStringToTime(std::u16string(1'000'000, u'2')).is_not_a_date_time());
}

TEST(Time, WritesSecondsWithAFractionOnlyWhenThereIsOne) {
    const std::pair<const char*, const char*> table[] = {
        // what the seconds form writes, and the minutes form
        {"2026-01-02T03:04:05Z", "2026-01-02T03:04Z"},        {"2026-11-21T23:59:59.999999Z", "2026-11-21T23:59Z"},
        {"2026-11-21T00:00:00.5Z", "2026-11-21T00:00Z"},      {"2026-11-21T00:00:00.000001Z", "2026-11-21T00:00Z"},
        {"2026-11-21T10:20:30.0101Z", "2026-11-21T10:20Z"},   {"1400-01-01T00:00:00Z", "1400-01-01T00:00Z"},
        {"9999-12-31T23:59:59.999999Z", "9999-12-31T23:59Z"},
    };
    for (const auto& [seconds, minutes] : table) {
        const ptime time = convertStringToTime(toString(seconds));
        EXPECT_EQ(write(time), seconds);
        EXPECT_EQ(write(time, TimeForm::Minutes), minutes);
    }
    for (const auto special :
         {boost::posix_time::not_a_date_time, boost::posix_time::pos_infin, boost::posix_time::neg_infin})
        EXPECT_TRUE(test::throwsSaying<Exception>("not a date and time", [&] { write(ptime(special)); }));
}

TEST(Time, WhatIsWrittenReadsBackEqual) {
    ptime time(boost::gregorian::date(1400, 1, 1));
    const auto step = boost::posix_time::hours(24 * 97 + 5) + boost::posix_time::microseconds(1'234'567'891);
    const ptime last(boost::gregorian::date(9999, 9, 1));
    for (; time < last; time += step)
        ASSERT_EQ(convertStringToTime(convertTimeToString(time)), time) << time;
}

/// Groups digits and writes them with a decimal comma.
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
