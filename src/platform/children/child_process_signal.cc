#include <signal.h>

#include <cerrno>

#include "platform/children/child_process.h"

namespace quelto::platform {

/// `waitUntilExit` first hides the id, then waits for every caller in here, then reaps: the id that is read
/// here cannot belong to another process. Signal-safe.
void ChildProcess::terminate() noexcept {
  const int saved = errno;
  callersInTerminate_.fetch_add(1);
  if (const pid_t id = reachableId_.load(); id != 0) ::kill(id, SIGTERM);
  callersInTerminate_.fetch_sub(1);
  errno = saved;
}

}  // namespace quelto::platform
