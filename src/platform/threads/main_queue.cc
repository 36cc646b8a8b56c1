#include "platform/threads/main_queue.h"

#include <unistd.h>

#include <utility>

#include "platform/threads/semaphore.h"

namespace quelto::platform {

bool isMainThread() { return ::gettid() == ::getpid(); }

void runOnMainThread(const std::function<void()>& task) {
  if (isMainThread()) {
    task();
    return;
  }
  Semaphore done(0);
  MainQueue::instance().post([&task, &done] {
    task();
    done.signal();
  });
  done.wait();
}

MainQueue& MainQueue::instance() {
  static auto* const queue = new MainQueue;
  return *queue;
}

void MainQueue::post(std::function<void()> task) {
  const std::lock_guard lock(mutex_);
  tasks_.push_back(std::move(task));
  changed_.notify_one();
}

bool MainQueue::serveUntil(const std::function<bool()>& condition, Deadline deadline) {
  std::unique_lock lock(mutex_);
  while (!condition()) {
    if (!tasks_.empty()) {
      const auto begin = Deadline::Clock::now();
      const auto task = std::move(tasks_.front());
      tasks_.pop_front();
      lock.unlock();
      task();
      lock.lock();
      deadline.postpone(Deadline::Clock::now() - begin);
    } else if (deadline.isOver()) {
      return false;
    } else {
      changed_.wait_until(lock, deadline.time());
    }
  }
  return true;
}

void MainQueue::wake() {
  const std::lock_guard lock(mutex_);
  changed_.notify_one();
}

}  // namespace quelto::platform
