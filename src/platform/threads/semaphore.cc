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

bool Semaphore::tryWait() {
  const std::lock_guard lock(mutex_);
  return count_ > 0 && count_-- > 0;
}

void Semaphore::wait() { static_cast<void>(waitUntil(Deadline::never())); }

bool Semaphore::waitUntil(Deadline deadline) {
  if (isMainThread()) return MainQueue::instance().serveUntil([this] { return tryWait(); }, deadline);
  std::unique_lock lock(mutex_);
  return changed_.wait_until(lock, deadline.time(), [this] { return count_ > 0; }) && count_-- > 0;
}

}  // namespace quelto::platform
