#include "platform/files/standard_streams.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "platform/signals/signals.h"

namespace quelto::platform {
namespace {

bool waitUntilWritable(int fd) {
  pollfd request{.fd = fd, .events = POLLOUT, .revents = 0};
  return ::poll(&request, 1, -1) >= 0 || errno == EINTR;
}

bool writeAll(int fd, std::string_view text) {
  // Whether somebody still reads must not decide how this program ends.
  const IgnoredBrokenPipe ignored;
  while (!text.empty()) {
    const ssize_t written = ::write(fd, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      if (!waitUntilWritable(fd)) return false;
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool openMissingStandardStreams() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(fd, F_GETFD) != -1 || errno != EBADF) continue;
    // SECURITY: a number left free here would go to the next socket or file we open, and ssh would read or
    // write it as its own stream. The lowest free number is this one; it stays open across exec on purpose.
    if (::open("/dev/null", O_RDWR) != fd) return false;
  }
  return true;
}

bool writeStandardOutput(std::string_view text) { return writeAll(STDOUT_FILENO, text); }

bool writeStandardError(std::string_view text) { return writeAll(STDERR_FILENO, text); }

}  // namespace quelto::platform
