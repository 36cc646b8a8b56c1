#pragma once

#include <chrono>

namespace quelto::platform {

/// The time at which a call gives up. A value; const calls are thread-safe.
class Deadline {
 public:
  using Clock = std::chrono::steady_clock;

  /// So long from now.
  explicit Deadline(std::chrono::milliseconds limit) : time_(Clock::now() + limit) {}
  /// One that never comes.
  [[nodiscard]] static Deadline never() { return Deadline(Clock::time_point::max()); }

  [[nodiscard]] bool isOver() const noexcept { return Clock::now() >= time_; }
  [[nodiscard]] Clock::time_point time() const noexcept { return time_; }

  /// Moves it so much further away.
  void postpone(Clock::duration time) noexcept {
    if (time_ != Clock::time_point::max()) time_ += time;
  }

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
