#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace quelto::platform {

/// A counting semaphore with timed waits. All calls are thread-safe.
class Semaphore {
 public:
  explicit Semaphore(int count) : count_(count) {}

  void signal() {
    const std::lock_guard lock(mutex_);
    ++count_;
    changed_.notify_one();
  }

  /// Takes one count; false, and none is taken, when there is none within the limit.
  [[nodiscard]] bool waitFor(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, limit, [this] { return count_ > 0; })) return false;
    --count_;
    return true;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int count_;
};

}  // namespace quelto::platform
