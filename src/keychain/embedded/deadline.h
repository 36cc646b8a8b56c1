#pragma once

#include <chrono>
#include <random>

namespace quelto::keychain::embedded {

/// Until when one call of the keychain may wait, and how it waits. One thread's own.
class Deadline {
 public:
  using Clock = std::chrono::steady_clock;

  explicit Deadline(std::chrono::milliseconds limit);

  [[nodiscard]] bool isOver() const noexcept { return Clock::now() >= time_; }

  /// Waits for half a millisecond to one and a half, at random, so that waiters do not move in step; false,
  /// at once, when the time is over.
  [[nodiscard]] bool pause() noexcept;

 private:
  Clock::time_point time_;
  std::minstd_rand random_;
};

}  // namespace quelto::keychain::embedded
