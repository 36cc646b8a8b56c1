#include "platform/threads/background.h"

#include <signal.h>

#include <memory>
#include <system_error>
#include <thread>

namespace quelto::platform {
namespace {

/// All signals but those of faults, which come to the thread that has made the fault.
sigset_t signalsOfOthers() {
  sigset_t signals;
  sigfillset(&signals);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS})
    sigdelset(&signals, fault);
  return signals;
}

}  // namespace

void runInBackground(std::function<void()> task) {
  const auto shared = std::make_shared<const std::function<void()>>(std::move(task));
  const sigset_t blocked = signalsOfOthers();
  sigset_t before;
  ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  bool hasThread = true;
  try {
    std::thread([shared] { (*shared)(); }).detach();
  } catch (const std::system_error&) {
    hasThread = false;
  }
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (!hasThread) (*shared)();
}

}  // namespace quelto::platform
