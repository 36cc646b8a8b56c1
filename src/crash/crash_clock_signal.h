#pragma once

#include <chrono>

#include "platform/call_stack/fixed_text.h"

/// Local time in a signal handler: the C library's functions for it lock and read files.
namespace quelto::crash {

/// Remembers how far local time is ahead of UTC. Main thread, before a signal is handled.
void prepareCrashClock();

/// A moment of local time. The fields are those of a calendar and a clock; milliseconds 0 to 999.
struct LocalMoment {
  int year = 0;
  unsigned month = 0;
  unsigned day = 0;
  unsigned hours = 0;
  unsigned minutes = 0;
  unsigned seconds = 0;
  unsigned milliseconds = 0;
};

/// Now, by the offset that was remembered. Signal-safe.
[[nodiscard]] LocalMoment localMoment() noexcept;

using DateText = platform::FixedText<31>;

/// "yyyy-MM-dd_HH:mm:ss". Signal-safe.
[[nodiscard]] DateText crashDate(const LocalMoment& moment) noexcept;

/// "yyyy-MM-dd HH:mm:ss.SSS". Signal-safe.
[[nodiscard]] DateText sendingDate(const LocalMoment& moment) noexcept;

}  // namespace quelto::crash
