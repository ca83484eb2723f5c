// SPDX-License-Identifier: Apache-2.0
#include <opc/core/Time.hpp>

#include <opc/core/Exception.hpp>
#include <opc/core/Strings.hpp>

#include <boost/date_time/gregorian/gregorian_types.hpp>

#include <chrono>
#include <optional>

namespace opc {

namespace {

using Instant = std::chrono::sys_time<std::chrono::microseconds>;

// What the time type holds: the years 1400 to 9999.
constexpr Instant FIRST_INSTANT = std::chrono::sys_days(std::chrono::year(1400) / 1 / 1);
constexpr Instant END_OF_INSTANTS = std::chrono::sys_days(std::chrono::year(10000) / 1 / 1);

constexpr int MICROSECOND_DIGITS = 6;

// Takes the pieces of a W3CDTF text off its front. After the first missing piece every further call fails.
class Scanner {
public:
    explicit Scanner(std::u16string_view text) : rest_(text) {}

    bool atEnd() const { return rest_.empty(); }
    bool failed() const { return failed_; }

    bool skip(char16_t unit) {
        if (rest_.empty() || rest_.front() != unit)
            return false;
        rest_.remove_prefix(1);
        return true;
    }

    void expect(char16_t unit) { failed_ |= !skip(unit); }

    // A number of exactly `digits` digits up to `limit`.
    int number(int digits, int limit) {
        int value = 0;
        for (; digits > 0; --digits)
            value = value * 10 + digit();
        failed_ |= value > limit;
        return value;
    }

    // One digit or more as millionths; what is finer is cut off.
    std::chrono::microseconds fraction() {
        int value = digit();
        int digits = 1;
        for (; atDigit(); ++digits) {
            const int next = digit();
            if (digits < MICROSECOND_DIGITS)
                value = value * 10 + next;
        }
        for (; digits < MICROSECOND_DIGITS; ++digits)
            value *= 10;
        return std::chrono::microseconds(value);
    }

private:
    bool atDigit() const { return !rest_.empty() && rest_.front() >= u'0' && rest_.front() <= u'9'; }

    int digit() {
        if (!atDigit()) {
            failed_ = true;
            return 0;
        }
        const int value = rest_.front() - u'0';
        rest_.remove_prefix(1);
        return value;
    }

    std::u16string_view rest_;
    bool failed_ = false;
};

std::chrono::minutes readHoursAndMinutes(Scanner& scanner) {
    const int hours = scanner.number(2, 23);
    scanner.expect(u':');
    return std::chrono::hours(hours) + std::chrono::minutes(scanner.number(2, 59));
}

// The offset of the zone from UTC.
std::chrono::minutes readZone(Scanner& scanner) {
    if (scanner.atEnd() || scanner.skip(u'Z'))
        return std::chrono::minutes(0);
    if (scanner.skip(u'+'))
        return readHoursAndMinutes(scanner);
    scanner.expect(u'-');
    return -readHoursAndMinutes(scanner);
}

std::chrono::microseconds readTimeOfDay(Scanner& scanner) {
    std::chrono::microseconds time = readHoursAndMinutes(scanner);
    if (scanner.skip(u':')) {
        time += std::chrono::seconds(scanner.number(2, 59));
        if (scanner.skip(u'.'))
            time += scanner.fraction();
    }
    return time - readZone(scanner);
}

std::chrono::year_month_day readDate(Scanner& scanner) {
    const std::chrono::year year(scanner.number(4, 9999));
    int month = 1;
    int day = 1;
    if (!scanner.atEnd()) {
        scanner.expect(u'-');
        month = scanner.number(2, 12);
    }
    if (!scanner.atEnd()) {
        scanner.expect(u'-');
        day = scanner.number(2, 31);
    }
    return year / month / day;
}

std::optional<Instant> readInstant(std::u16string_view text) {
    Scanner scanner(text);
    const std::chrono::year_month_day date = readDate(scanner);
    if (scanner.failed() || !date.ok())
        return std::nullopt;
    Instant instant = std::chrono::sys_days(date);
    if (scanner.skip(u'T'))
        instant += readTimeOfDay(scanner);
    if (scanner.failed() || !scanner.atEnd() || instant < FIRST_INSTANT || instant >= END_OF_INSTANTS)
        return std::nullopt;
    return instant;
}

// Formatted by hand, since a stream would use the global locale.
void appendNumber(std::u16string& text, long value, int digits) {
    std::u16string reversed;
    for (; digits > 0; --digits, value /= 10)
        reversed += static_cast<char16_t>(u'0' + value % 10);
    text.append(reversed.rbegin(), reversed.rend());
}

void appendSeconds(std::u16string& text, const boost::posix_time::time_duration& time) {
    text += u':';
    appendNumber(text, time.seconds(), 2);
    const auto fraction = static_cast<long>(time.total_microseconds() % 1'000'000);
    if (fraction == 0)
        return;
    text += u'.';
    appendNumber(text, fraction, MICROSECOND_DIGITS);
    text.erase(text.find_last_not_of(u'0') + 1);
}

} // namespace

boost::posix_time::ptime convertStringToTime(std::u16string_view text) {
    const auto instant = readInstant(text);
    if (!instant)
        return boost::posix_time::ptime(boost::posix_time::not_a_date_time);
    const auto day = std::chrono::floor<std::chrono::days>(*instant);
    const std::chrono::year_month_day date(day);
    return boost::posix_time::ptime(boost::gregorian::date(static_cast<unsigned short>(int(date.year())),
                                                           static_cast<unsigned short>(unsigned(date.month())),
                                                           static_cast<unsigned short>(unsigned(date.day()))),
                                    boost::posix_time::microseconds((*instant - day).count()));
}

boost::posix_time::ptime convertStringToTime(std::string_view text) {
    return convertStringToTime(std::u16string_view(toString(text, false)));
}

std::u16string convertTimeToString(const boost::posix_time::ptime& time, TimeForm form) {
    if (time.is_special())
        throw Exception("A time that is not a date and time has no W3CDTF form.");
    const auto date = time.date().year_month_day();
    const auto timeOfDay = time.time_of_day();
    std::u16string text;
    appendNumber(text, date.year, 4);
    text += u'-';
    appendNumber(text, date.month.as_number(), 2);
    text += u'-';
    appendNumber(text, date.day, 2);
    text += u'T';
    appendNumber(text, timeOfDay.hours(), 2);
    text += u':';
    appendNumber(text, timeOfDay.minutes(), 2);
    if (form == TimeForm::Seconds)
        appendSeconds(text, timeOfDay);
    return text += u'Z';
}

} // namespace opc
