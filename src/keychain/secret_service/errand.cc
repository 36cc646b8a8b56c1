#include "keychain/secret_service/errand.h"

#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <thread>
#include <utility>

namespace quelto::keychain {
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

OSStatus statusOf(const Errand::Work& work, Errand& errand) {
  try {
    return work(errand);
  } catch (const std::exception&) {
    return errSecIO;
  }
}

}  // namespace

Errand::Errand(std::chrono::milliseconds limit, platform::Secret secret)
    : deadline_(Clock::now() + limit), untilDeadline_(g_cancellable_new()), secret_(std::move(secret)) {}

Errand::Ending Errand::run(std::chrono::milliseconds limit, Work work, platform::Secret secret) {
  try {
    const auto errand = std::make_shared<Errand>(limit, std::move(secret));
    auto carryOut = [errand, work = std::move(work)] { errand->finish(statusOf(work, *errand)); };
    {
      const SignalsForNewThreads signals;
      std::thread(std::move(carryOut)).detach();
    }
    return errand->wait();
  } catch (const std::exception&) {
    return {.status = errSecIO, .secret = {}};
  }
}

bool Errand::useSecret(const std::function<void(platform::Secret&)>& use) {
  const std::lock_guard lock(mutex_);
  if (hasCallerLeft_) return false;
  use(secret_);
  return true;
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

Errand::Ending Errand::wait() {
  std::unique_lock lock(mutex_);
  const bool isFinished = finished_.wait_until(lock, deadline_, [this] { return status_.has_value(); });
  const OSStatus lateStatus = isAsking_ ? errSecInteractionNotAllowed : errSecNotAvailable;
  hasCallerLeft_ = true;
  // SECURITY: left with a thread that waits for a person, the secret would be in the process's memory, and
  // in its core file, for as long as a dialog is up.
  Ending ending{.status = status_.value_or(lateStatus), .secret = std::move(secret_)};
  lock.unlock();
  if (!isFinished) g_cancellable_cancel(untilDeadline_.get());
  return ending;
}

}  // namespace quelto::keychain
