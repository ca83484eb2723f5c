// SPDX-License-Identifier: Apache-2.0
// W3CDTF times. The input is the text; its shape and the civil calendar say what it stands for.
#include <opc/core/Time.hpp>

#include "Fuzz.hpp"

#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <boost/date_time/posix_time/posix_time.hpp>

#include <chrono>
#include <optional>

namespace {

namespace chrono = std::chrono;
using boost::posix_time::ptime;
using Instant = chrono::sys_time<chrono::microseconds>;

/// The number of so many digits at a place, if the text goes that far.
int numberAt(const std::string& text, std::size_t place, std::size_t digits, int otherwise) {
    return place < text.size() ? std::stoi(text.substr(place, digits)) : otherwise;
}

/// Takes the time zone off the end of a text and of its shape.
std::optional<chrono::minutes> takeZone(std::string& text, std::string& shape) {
    const bool hasOffset = shape.ends_with("+00:00") || shape.ends_with("-00:00");
    const std::size_t length = shape.ends_with("Z") ? 1 : hasOffset ? 6 : 0;
    const std::string zone = text.substr(text.size() - length);
    text.resize(text.size() - length);
    shape.resize(text.size());
    const int hours = numberAt(zone, 1, 2, 0);
    const int minutes = numberAt(zone, 4, 2, 0);
    if (hours > 23 || minutes > 59)
        return std::nullopt;
    const chrono::minutes offset(hours * 60 + minutes);
    return hasOffset && zone.front() == '-' ? -offset : offset;
}

bool isShape(const std::string& shape, bool hasZone) {
    if (shape == "0000" || shape == "0000-00" || shape == "0000-00-00")
        return !hasZone;
    const std::string fraction = shape.size() > 20 ? shape.substr(20) : "";
    return shape == "0000-00-00T00:00" || shape == "0000-00-00T00:00:00" ||
           (shape.starts_with("0000-00-00T00:00:00.") && !fraction.empty() &&
            fraction.find_first_not_of('0') == std::string::npos);
}

/// What the text stands for by W3C NOTE-datetime, read in another way than the library does: by its shape, which is the
/// text with "0" for every digit.
std::optional<Instant> expected(std::string text) {
    std::string shape = text;
    for (char& c : shape)
        c = c >= '0' && c <= '9' ? '0' : c;
    const std::size_t length = text.size();
    const std::optional<chrono::minutes> offset = takeZone(text, shape);
    if (!offset || !isShape(shape, text.size() != length))
        return std::nullopt;
    const chrono::year_month_day day = chrono::year(numberAt(text, 0, 4, 0)) /
                                       static_cast<unsigned>(numberAt(text, 5, 2, 1)) /
                                       static_cast<unsigned>(numberAt(text, 8, 2, 1));
    const int hours = numberAt(text, 11, 2, 0);
    const int minutes = numberAt(text, 14, 2, 0);
    const int seconds = numberAt(text, 17, 2, 0);
    if (!day.ok() || hours > 23 || minutes > 59 || seconds > 59)
        return std::nullopt;
    const std::string fraction = ((text.size() > 20 ? text.substr(20) : "") + "000000").substr(0, 6);
    const Instant instant = chrono::sys_days(day) + chrono::hours(hours) + chrono::minutes(minutes) +
                            chrono::seconds(seconds) + chrono::microseconds(std::stoi(fraction)) - *offset;
    const bool isHeld = instant >= chrono::sys_days(chrono::year(1400) / 1 / 1) &&
                        instant < chrono::sys_days(chrono::year(10000) / 1 / 1);
    return isHeld ? std::optional(instant) : std::nullopt;
}

Instant instantOf(const ptime& time) {
    const ptime epoch(boost::gregorian::date(1970, 1, 1));
    return Instant(chrono::microseconds((time - epoch).total_microseconds()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::u16string text = opc::toString(bytes, false);
    const ptime time = opc::convertStringToTime(text);
    const std::optional<Instant> instant = expected(bytes);
    OPCRAFT_REQUIRE(instant.has_value() == !time.is_special());
    OPCRAFT_REQUIRE(!instant || *instant == instantOf(time));
    if (time.is_special()) {
        OPCRAFT_REQUIRE(!opc::fuzz::accepted([&] { opc::convertTimeToString(time); }));
        return 0;
    }
    OPCRAFT_REQUIRE(opc::convertStringToTime(opc::convertTimeToString(time)) == time);
    const ptime minutes = opc::convertStringToTime(opc::convertTimeToString(time, opc::TimeForm::Minutes));
    OPCRAFT_REQUIRE(instantOf(minutes) == chrono::floor<chrono::minutes>(instantOf(time)));
    return 0;
}
