#include "platform/dialog/bell_signal.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include "platform/files/unique_fd.h"

namespace quelto::platform {

void beep() noexcept {
  const UniqueFd terminal(::open("/dev/tty", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!terminal) return;
  sigset_t stop;
  sigset_t before;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTTOU);
  ::pthread_sigmask(SIG_BLOCK, &stop, &before);
  [[maybe_unused]] const ssize_t written = ::write(terminal.get(), "\a", 1);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace quelto::platform
