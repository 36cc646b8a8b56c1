#include "util/dates.h"

#include "platform/user/local_time.h"

namespace quelto::util {
namespace {

using std::chrono::abs;
using std::chrono::days;
using std::chrono::floor;
using std::chrono::hh_mm_ss;
using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::month;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::year;
using std::chrono::year_month_day;

constexpr year firstYear{1};
constexpr year lastYear{9999};

/// What glibc takes of an offset in `TZ` ends just before.
constexpr seconds offsetLimit = hours(25);

/// No date before or from then on has a text, in whatever zone. An offset cannot lead out of the range of
/// `Date`.
constexpr Date earliest = sys_days(firstYear / 1 / 1) - offsetLimit;
constexpr Date latest = sys_days((lastYear + std::chrono::years(1)) / 1 / 1) + offsetLimit;

/// A "0" stands for a digit, any other character for itself.
constexpr std::string_view timePattern = "0000-00-00 00:00:00 ";
constexpr std::string_view offsetPattern = "00:00";
constexpr std::string_view offsetWithSecondsPattern = "00:00:00";

/// Digits of a text that follows one of the patterns.
struct Field {
  std::size_t at;
  std::size_t digits = 2;
};
constexpr Field yearField{.at = 0, .digits = 4};
constexpr Field monthField{.at = 5};
constexpr Field dayField{.at = 8};
constexpr Field hourField{.at = 11};
constexpr Field minuteField{.at = 14};
constexpr Field secondField{.at = 17};
constexpr Field offsetHourField{.at = 0};
constexpr Field offsetMinuteField{.at = 3};
constexpr Field offsetSecondField{.at = 6};

bool isDigit(char character) { return character >= '0' && character <= '9'; }

bool follows(std::string_view text, std::string_view pattern) {
  if (text.size() != pattern.size()) return false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (pattern[at] == '0' ? !isDigit(text[at]) : text[at] != pattern[at]) return false;
  }
  return true;
}

int numberIn(std::string_view text, Field field) {
  int number = 0;
  for (const char digit : text.substr(field.at, field.digits)) number = number * 10 + (digit - '0');
  return number;
}

template <typename Number>
void set(std::string& text, Field field, Number number) {
  for (std::size_t at = field.at + field.digits; at-- > field.at; number /= 10) {
    text[at] = static_cast<char>('0' + number % 10);
  }
}

bool isInRange(year_month_day day) { return day.year() >= firstYear && day.year() <= lastYear; }

std::string textOfOffset(seconds offset) {
  if (offset == seconds::zero()) return "Z";
  const hh_mm_ss parts(abs(offset));
  const bool hasSeconds = parts.seconds() != seconds::zero();
  std::string text(hasSeconds ? offsetWithSecondsPattern : offsetPattern);
  set(text, offsetHourField, parts.hours().count());
  set(text, offsetMinuteField, parts.minutes().count());
  if (hasSeconds) set(text, offsetSecondField, parts.seconds().count());
  return (offset < seconds::zero() ? '-' : '+') + text;
}

std::optional<seconds> offsetOf(std::string_view text) {
  if (text == "Z") return seconds::zero();
  if (!text.starts_with('+') && !text.starts_with('-')) return std::nullopt;
  const std::string_view number = text.substr(1);
  const bool hasSeconds = follows(number, offsetWithSecondsPattern);
  if (!hasSeconds && !follows(number, offsetPattern)) return std::nullopt;
  const int minute = numberIn(number, offsetMinuteField);
  const int second = hasSeconds ? numberIn(number, offsetSecondField) : 0;
  const seconds size = hours(numberIn(number, offsetHourField)) + minutes(minute) + seconds(second);
  if (size >= offsetLimit || minute > 59 || second > 59) return std::nullopt;
  return text.front() == '-' ? -size : size;
}

/// The date and time as if they were UTC's.
std::optional<Date> timeOf(std::string_view text) {
  if (!follows(text, timePattern)) return std::nullopt;
  const year_month_day day(year(numberIn(text, yearField)),
                           month(static_cast<unsigned>(numberIn(text, monthField))),
                           std::chrono::day(static_cast<unsigned>(numberIn(text, dayField))));
  const int hour = numberIn(text, hourField);
  const int minute = numberIn(text, minuteField);
  const int second = numberIn(text, secondField);
  if (!day.ok() || !isInRange(day) || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  return sys_days(day) + hours(hour) + minutes(minute) + seconds(second);
}

}  // namespace

Date now() { return floor<seconds>(std::chrono::system_clock::now()); }

std::string toIsoText(Date date) {
  if (date < earliest || date >= latest) return "";
  const auto offset = platform::offsetFromUtc(date);
  if (!offset || abs(*offset) >= offsetLimit) return "";
  const Date local = date + *offset;
  const year_month_day day(floor<days>(local));
  if (!isInRange(day)) return "";
  const hh_mm_ss time(local - floor<days>(local));
  std::string text(timePattern);
  set(text, yearField, static_cast<int>(day.year()));
  set(text, monthField, static_cast<unsigned>(day.month()));
  set(text, dayField, static_cast<unsigned>(day.day()));
  set(text, hourField, time.hours().count());
  set(text, minuteField, time.minutes().count());
  set(text, secondField, time.seconds().count());
  return text + textOfOffset(*offset);
}

std::optional<Date> fromIsoText(std::string_view isoDate) {
  const auto time = timeOf(isoDate.substr(0, timePattern.size()));
  const auto offset = time ? offsetOf(isoDate.substr(timePattern.size())) : std::nullopt;
  return offset ? std::optional(*time - *offset) : std::nullopt;
}

}  // namespace quelto::util
