#include "platform/threads/deadline.h"

#include <unistd.h>

#include <algorithm>
#include <limits>
#include <random>
#include <thread>

namespace quelto::platform {

std::chrono::milliseconds Deadline::timeLeft() const noexcept {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(time_ - Clock::now());
  return std::max(left, std::chrono::milliseconds::zero());
}

int Deadline::pollTimeout() const noexcept {
  if (time_ == Clock::time_point::max()) return -1;
  constexpr std::chrono::milliseconds::rep longest = std::numeric_limits<int>::max();
  return static_cast<int>(std::min(timeLeft().count(), longest));
}

bool Deadline::pause() const noexcept {
  if (isOver()) return false;
  // Waiters that were woken together read the same clock: the process and the thread tell them apart.
  const auto seed = static_cast<std::size_t>(Clock::now().time_since_epoch().count() ^ ::getpid()) ^
                    std::hash<std::thread::id>()(std::this_thread::get_id());
  std::minstd_rand random(static_cast<std::minstd_rand::result_type>(seed));
  std::this_thread::sleep_for(std::chrono::microseconds(500 + random() % 1000));
  return true;
}

}  // namespace quelto::platform
