#include "launcher/forwarding_signal.h"

#include "platform/signals/disposition_signal.h"

namespace quelto::launcher {

constinit platform::ChildProcess task;

/// Signal-safe.
void signalReceived(std::int32_t /*signal*/) noexcept {
  task.terminate();
  platform::resetSignals(forwardedSignals);
}

}  // namespace quelto::launcher
