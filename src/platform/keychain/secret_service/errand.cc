#include "platform/keychain/secret_service/errand.h"

#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <thread>

namespace quelto::platform::keychain {
namespace {

/// While it lives, threads start with every signal blocked that is not a fault of their own: the program's
/// handlers run on its own threads. GLib's threads, started from ours, inherit that.
class SignalsForNewThreads {
 public:
  SignalsForNewThreads() {
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS})
      sigdelset(&blocked, fault);
    ::pthread_sigmask(SIG_SETMASK, &blocked, &before_);
  }
  ~SignalsForNewThreads() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsForNewThreads(const SignalsForNewThreads&) = delete;
  SignalsForNewThreads& operator=(const SignalsForNewThreads&) = delete;

 private:
  sigset_t before_;
};

OSStatus statusOf(const std::function<OSStatus(Errand&)>& work, Errand& errand) {
  try {
    return work(errand);
  } catch (const std::exception&) {
    return errSecIO;
  }
}

}  // namespace

Errand::Errand(std::chrono::milliseconds limit)
    : deadline_(Clock::now() + limit), untilDeadline_(g_cancellable_new()) {}

OSStatus Errand::run(std::chrono::milliseconds limit, std::function<OSStatus(Errand&)> work) {
  try {
    const auto errand = std::make_shared<Errand>(limit);
    auto carryOut = [errand, work = std::move(work)]() mutable {
      const OSStatus status = statusOf(work, *errand);
      // What the work owns goes before the caller can: secrets do not outlive the call.
      work = nullptr;
      errand->finish(status);
    };
    {
      const SignalsForNewThreads signals;
      std::thread(std::move(carryOut)).detach();
    }
    return errand->wait();
  } catch (const std::exception&) {
    return errSecIO;
  }
}

std::chrono::milliseconds Errand::timeLeft() const {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now());
  return std::max(left, std::chrono::milliseconds::zero());
}

void Errand::setAsking(bool isAsking) {
  const std::lock_guard lock(mutex_);
  isAsking_ = isAsking;
}

void Errand::finish(OSStatus status) {
  const std::lock_guard lock(mutex_);
  status_ = status;
  finished_.notify_all();
}

OSStatus Errand::wait() {
  std::unique_lock lock(mutex_);
  if (finished_.wait_until(lock, deadline_, [this] { return status_.has_value(); })) return *status_;
  const OSStatus status = isAsking_ ? errSecInteractionNotAllowed : errSecNotAvailable;
  lock.unlock();
  g_cancellable_cancel(untilDeadline_.get());
  return status;
}

}  // namespace quelto::platform::keychain
