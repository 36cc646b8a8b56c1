#pragma once

#include <chrono>

namespace quelto::platform {

/// The time at which a call gives up. An immutable value; thread-safe.
class Deadline {
 public:
  using Clock = std::chrono::steady_clock;

  /// So long from now.
  explicit Deadline(std::chrono::milliseconds limit) : time_(Clock::now() + limit) {}
  /// One that never comes.
  [[nodiscard]] static Deadline never() { return Deadline(Clock::time_point::max()); }

  [[nodiscard]] bool isOver() const noexcept { return Clock::now() >= time_; }
  [[nodiscard]] Clock::time_point time() const noexcept { return time_; }

  /// What is left, rounded up; 0 once it is over.
  [[nodiscard]] std::chrono::milliseconds timeLeft() const noexcept;

  /// The same as poll(2) takes it: -1 for one that never comes.
  [[nodiscard]] int pollTimeout() const noexcept;

  /// Sleeps for 0.5 to 1.5 milliseconds, at random so that several waiters do not keep step; false, without
  /// sleeping, once the deadline is over.
  [[nodiscard]] bool pause() const noexcept;

 private:
  explicit Deadline(Clock::time_point time) : time_(time) {}

  Clock::time_point time_;
};

}  // namespace quelto::platform
