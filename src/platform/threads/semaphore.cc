#include "platform/threads/semaphore.h"

#include "platform/threads/main_queue.h"

namespace quelto::platform {

void Semaphore::signal() {
  {
    const std::lock_guard lock(mutex_);
    ++count_;
    changed_.notify_one();
  }
  // From here on whoever waited may have destroyed this object.
  MainQueue::instance().wake();
}

void Semaphore::wait() { static_cast<void>(waitUntil(Deadline::never())); }

bool Semaphore::waitUntil(Deadline deadline) {
  const auto isCounted = [this] { return count_ > 0; };
  if (isMainThread()) {
    return MainQueue::instance().serveUntil(
        [&] {
          const std::lock_guard lock(mutex_);
          return isCounted() && count_-- > 0;
        },
        deadline);
  }
  std::unique_lock lock(mutex_);
  return changed_.wait_until(lock, deadline.time(), isCounted) && count_-- > 0;
}

}  // namespace quelto::platform
