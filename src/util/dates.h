#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

/// Dates and their text, "2024-01-02 03:04:05 +02:00": date and time of day with their offset from UTC, which
/// is "Z" when it is zero and has seconds ("-00:44:30") only when they are not. The years are 0001 to 9999 of
/// the Gregorian calendar, also before its introduction (ISO 8601). Thread-safe.
namespace quelto::util {

/// To the second, as in the text. Leap seconds are not counted (POSIX time).
using Date = std::chrono::sys_seconds;

[[nodiscard]] Date now();

/// In local time. Empty when the text cannot hold the year, or an offset of 25 hours or more.
[[nodiscard]] std::string toIsoText(Date date);

/// Absent unless the whole text has that form and means a real date. Offsets up to 24:59:59 are read, zero in
/// digits too. 24:00:00 is refused, and so is a leap second (":60").
[[nodiscard]] std::optional<Date> fromIsoText(std::string_view isoDate);

}  // namespace quelto::util
