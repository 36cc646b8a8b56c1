#include "platform/threads/background.h"

#include <signal.h>

#include <memory>
#include <system_error>
#include <thread>

#include "platform/signals/alternate_stack.h"
#include "platform/signals/disposition_signal.h"

namespace quelto::platform {
namespace {

sigset_t signalsOfOthers() {
  sigset_t signals;
  sigfillset(&signals);
  for (const int fault : faultSignals) sigdelset(&signals, fault);
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
    std::thread([shared] {
      const AlternateStack stack;
      (*shared)();
    }).detach();
  } catch (const std::system_error&) {
    hasThread = false;
  }
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (!hasThread) (*shared)();
}

}  // namespace quelto::platform
