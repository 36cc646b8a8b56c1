#include "platform/signals/reset_signal.h"

#include <signal.h>

#include <cerrno>

namespace quelto::platform {

void resetSignals(std::span<const int> signals) noexcept {
  const int saved = errno;
  struct sigaction byDefault {};
  byDefault.sa_handler = SIG_DFL;
  for (const int signal : signals) ::sigaction(signal, &byDefault, nullptr);
  errno = saved;
}

}  // namespace quelto::platform
