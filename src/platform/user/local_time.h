#pragma once

#include <chrono>
#include <optional>

namespace quelto::platform {

/// How far local time is ahead of UTC at that moment, by the C library: `TZ`, else the machine's zone, both
/// as they are at the call. Absent when the moment is beyond the C library's calendar. Thread-safe.
[[nodiscard]] std::optional<std::chrono::seconds> offsetFromUtc(std::chrono::sys_seconds moment);

}  // namespace quelto::platform
