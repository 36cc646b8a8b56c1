#include "launcher/look_up.h"

#include <memory>
#include <mutex>
#include <utility>

#include "platform/threads/background.h"

namespace quelto::launcher {
namespace {

/// A result on its way from the background to whoever waits for it. Exactly one of `give` and `abandon` comes
/// first, and holds.
class HandOver {
 public:
  /// Signals, unless nobody waits any more.
  void give(std::string result, platform::Semaphore& finish) {
    const std::lock_guard lock(mutex_);
    if (state_ == State::abandoned) return;
    state_ = State::done;
    result_ = std::move(result);
    finish.signal();
  }

  /// False when the result was given before.
  [[nodiscard]] bool abandon() {
    const std::lock_guard lock(mutex_);
    if (state_ == State::done) return false;
    state_ = State::abandoned;
    return true;
  }

  /// Once it was given.
  [[nodiscard]] std::string take() {
    const std::lock_guard lock(mutex_);
    return std::move(result_);
  }

 private:
  enum class State { pending, done, abandoned };

  std::mutex mutex_;
  State state_ = State::pending;
  std::string result_;
};

}  // namespace

std::string lookedUp(const std::function<std::string()>& lookUp, std::chrono::milliseconds limit,
                     platform::Semaphore& finish) {
  const auto handOver = std::make_shared<HandOver>();
  platform::runInBackground([handOver, lookUp, &finish] { handOver->give(lookUp(), finish); });
  if (!finish.waitFor(limit)) {
    if (handOver->abandon()) return "";
    finish.wait();  // it came between the limit and now
  }
  return handOver->take();
}

}  // namespace quelto::launcher
