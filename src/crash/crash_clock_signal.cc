#include "crash/crash_clock_signal.h"

#include <atomic>

#include "platform/user/local_time.h"

namespace quelto::crash {
namespace {

using namespace std::chrono;

constinit std::atomic<seconds::rep> offset{0};

DateText dateAndTime(const LocalMoment& moment, char between) {
  DateText text;
  text.appendNumber(static_cast<unsigned>(moment.year), 4).append('-');
  text.appendNumber(moment.month, 2).append('-').appendNumber(moment.day, 2).append(between);
  text.appendNumber(moment.hours, 2).append(':').appendNumber(moment.minutes, 2).append(':');
  return text.appendNumber(moment.seconds, 2);
}

}  // namespace

void prepareCrashClock() {
  offset = platform::offsetFromUtc(floor<seconds>(system_clock::now())).value_or(seconds(0)).count();
}

LocalMoment localMoment() noexcept {
  const auto now = floor<milliseconds>(system_clock::now()) + seconds(offset.load());
  const auto midnight = floor<days>(now);
  const year_month_day date(midnight);
  const hh_mm_ss time(now - midnight);
  return {.year = static_cast<int>(date.year()),
          .month = static_cast<unsigned>(date.month()),
          .day = static_cast<unsigned>(date.day()),
          .hours = static_cast<unsigned>(time.hours().count()),
          .minutes = static_cast<unsigned>(time.minutes().count()),
          .seconds = static_cast<unsigned>(time.seconds().count()),
          .milliseconds = static_cast<unsigned>(time.subseconds().count())};
}

DateText crashDate(const LocalMoment& moment) noexcept { return dateAndTime(moment, '_'); }

DateText sendingDate(const LocalMoment& moment) noexcept {
  return dateAndTime(moment, ' ').append('.').appendNumber(moment.milliseconds, 3);
}

}  // namespace quelto::crash
