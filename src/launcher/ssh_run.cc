#include "launcher/ssh_run.h"

#include <chrono>

#include "launcher/forwarding_signal.h"
#include "launcher/ssh_locator.h"
#include "platform/signals/reset_signal.h"
#include "platform/signals/signals.h"

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

}  // namespace

std::optional<int> runSsh(const platform::ChildOptions& ssh, platform::Semaphore& finish) {
  std::optional<int> status;
  if (launchTask(ssh)) {
    status = task.waitUntilExit();
    platform::resetSignals(forwardedSignals);
  }
  // A background task that is late does not change the status.
  (void)finish.waitFor(finishLimit);
  return status;
}

}  // namespace quelto::launcher
