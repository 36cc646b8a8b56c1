#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

#include "platform/threads/deadline.h"

namespace quelto::platform {

/// Whether the caller is the process's first thread.
[[nodiscard]] bool isMainThread();

/// Runs a task on the main thread, which alone asks the person, and returns when it has ended: at once when
/// called there, else when the main thread waits for a `Semaphore` next. Never returns when the process ends
/// first. Thread-safe.
void runOnMainThread(const std::function<void()>& task);

/// The tasks that wait for the main thread, in their order. One per process and module. Thread-safe.
class MainQueue {
 public:
  /// Made on first use, never destroyed.
  [[nodiscard]] static MainQueue& instance();

  void post(std::function<void()> task);

  /// Runs the tasks as they come until the condition holds, which is looked at again after each task and
  /// each `wake`; false when the deadline comes first. The time that tasks take does not count: a person
  /// may think longer than any call may last. Main thread only.
  [[nodiscard]] bool serveUntil(const std::function<bool()>& condition, Deadline deadline);

  /// After a condition may have changed.
  void wake();

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> tasks_;
};

}  // namespace quelto::platform
