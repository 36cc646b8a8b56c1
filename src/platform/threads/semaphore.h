#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "platform/threads/deadline.h"

namespace quelto::platform {

/// A counting semaphore with timed waits. While the main thread waits it runs what other threads have for it
/// (`runOnMainThread`). All calls are thread-safe.
class Semaphore {
 public:
  explicit Semaphore(int count) : count_(count) {}

  void signal();

  /// Takes one count, however long that takes.
  void wait();

  /// The same; false, and none is taken, when there is none within the limit.
  [[nodiscard]] bool waitFor(std::chrono::milliseconds limit) { return waitUntil(Deadline(limit)); }

 private:
  [[nodiscard]] bool waitUntil(Deadline deadline);

  std::mutex mutex_;
  std::condition_variable changed_;
  int count_;
};

}  // namespace quelto::platform
