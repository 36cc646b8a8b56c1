#include "keychain/secret_service/timed_call.h"

#include <pthread.h>
#include <signal.h>

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

OSStatus statusOf(const TimedCall::Work& work, TimedCall& call) {
  try {
    return work(call);
  } catch (const std::exception&) {
    return errSecIO;
  }
}

}  // namespace

TimedCall::TimedCall(std::chrono::milliseconds limit, Secrets secrets)
    : deadline_(limit), cancelledAtDeadline_(g_cancellable_new()), secrets_(std::move(secrets)) {}

TimedCall::Result TimedCall::run(std::chrono::milliseconds limit, Secrets secrets, Work work) {
  try {
    const auto call = std::make_shared<TimedCall>(limit, std::move(secrets));
    auto carryOut = [call, work = std::move(work)] { call->finish(statusOf(work, *call)); };
    {
      const SignalsForNewThreads signals;
      std::thread(std::move(carryOut)).detach();
    }
    return call->wait();
  } catch (const std::exception&) {
    return {.status = errSecIO, .secrets = {}};
  }
}

bool TimedCall::useSecrets(const std::function<void(Secrets&)>& use) {
  const std::lock_guard lock(mutex_);
  if (hasCallerLeft_) return false;
  use(secrets_);
  return true;
}

void TimedCall::setAsking(bool isAsking) {
  const std::lock_guard lock(mutex_);
  isAsking_ = isAsking;
}

void TimedCall::finish(OSStatus status) {
  const std::lock_guard lock(mutex_);
  status_ = status;
  finished_.notify_all();
}

TimedCall::Result TimedCall::wait() {
  std::unique_lock lock(mutex_);
  const bool isFinished =
      finished_.wait_until(lock, deadline_.time(), [this] { return status_.has_value(); });
  const OSStatus lateStatus = isAsking_ ? errSecInteractionNotAllowed : errSecNotAvailable;
  hasCallerLeft_ = true;
  // SECURITY: left with a thread that waits for a person, the secrets would be in the process's memory, and
  // in its core file, for as long as a dialog is up.
  Result result{.status = status_.value_or(lateStatus), .secrets = std::move(secrets_)};
  lock.unlock();
  if (!isFinished) g_cancellable_cancel(cancelledAtDeadline_.get());
  return result;
}

}  // namespace quelto::keychain
