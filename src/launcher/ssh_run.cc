#include "launcher/ssh_run.h"

#include <chrono>
#include <memory>

#include "launcher/forwarding_signal.h"
#include "launcher/ssh_locator.h"
#include "platform/dialog/question_watch.h"
#include "platform/signals/disposition_signal.h"
#include "platform/signals/signals.h"
#include "platform/threads/background.h"

namespace quelto::launcher {
namespace {

/// How long a background save or delete may delay the exit.
constexpr std::chrono::seconds finishLimit{10};

/// Starts ssh and routes the forwarded signals to it; none of them can arrive in between.
bool launchTask(const platform::ChildOptions& ssh) {
  // SECURITY: the server list or SSH_ORIGINAL may name this tool, which would start itself without end.
  if (isThisTool(ssh.program)) return false;
  const platform::BlockedSignals held(forwardedSignals);
  const bool launched = task.launch(ssh);
  if (launched) platform::routeSignals(forwardedSignals, signalReceived);
  return launched;
}

/// Whether no background task is pending.
bool isIdle(platform::Semaphore& finish) {
  const bool isIdle = finish.tryWait();
  if (isIdle) finish.signal();
  return isIdle;
}

/// Waits for ssh's end and asks meanwhile what a background task wants to ask, in the time that is left until
/// then: ssh's caller waits for our end.
void waitWhileServing() {
  // Shared, since the thread may still be about to leave it.
  const auto ended = std::make_shared<platform::Semaphore>(0);
  platform::runInBackground([ended] {
    task.waitForEnd();
    platform::abandonQuestions();
    ended->signal();
  });
  ended->wait();
}

}  // namespace

std::optional<int> runSsh(const platform::ChildOptions& ssh, platform::Semaphore& finish) {
  std::optional<int> status;
  if (launchTask(ssh)) {
    if (!isIdle(finish)) waitWhileServing();
    status = task.waitUntilExit();
    platform::resetSignals(forwardedSignals);
  } else {
    platform::abandonQuestions();
  }
  // A background task that is late does not change the status.
  (void)finish.waitFor(finishLimit);
  return status;
}

}  // namespace quelto::launcher
