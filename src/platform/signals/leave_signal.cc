#include "platform/signals/leave_signal.h"

#include <unistd.h>

#include <atomic>

#include "platform/signals/system_calls_signal.h"

namespace quelto::platform {
namespace {

/// The thread that ends the process; 0: whichever comes first.
constinit std::atomic<int> leavingThread{0};

}  // namespace

// Otherwise AddressSanitizer would allocate before the calls that do not return.
[[gnu::no_sanitize_address]] void leave(int status) noexcept {
  const int alone = leavingThread.load();
  if (alone != 0 && alone != threadNumber()) waitForProcessEnd();
  ::_exit(status);
}

bool leaveFromThisThreadOnly() noexcept {
  int none = 0;
  return leavingThread.compare_exchange_strong(none, threadNumber());
}

bool isLeavingThread() noexcept { return leavingThread == threadNumber(); }

}  // namespace quelto::platform
