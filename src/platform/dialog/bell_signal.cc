#include "platform/dialog/bell_signal.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <array>

#include "platform/files/unique_fd.h"
#include "platform/signals/disposition_signal.h"

namespace quelto::platform {

void beep() noexcept {
  const UniqueFd terminal(::open("/dev/tty", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!terminal) return;
  const sigset_t stop = setOf(std::array{SIGTTOU});
  sigset_t before;
  ::pthread_sigmask(SIG_BLOCK, &stop, &before);
  [[maybe_unused]] const ssize_t written = ::write(terminal.get(), "\a", 1);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace quelto::platform
