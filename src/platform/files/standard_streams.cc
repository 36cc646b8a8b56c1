#include "platform/files/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/files/descriptor_io.h"
#include "platform/signals/signals.h"

namespace quelto::platform {
namespace {

bool writeTo(int fd, std::string_view text) {
  // A reader that is gone must not end this program by a signal.
  const IgnoredBrokenPipe ignored;
  return writeAll(fd, text);
}

}  // namespace

bool openMissingStandardStreams() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(fd, F_GETFD) != -1 || errno != EBADF) continue;
    // SECURITY: the next socket or file that we open would get a number left free here, and ssh would read or
    // write it as its own stream. Open returns the lowest free number, which is this one; it stays open
    // across exec on purpose.
    if (::open("/dev/null", O_RDWR) != fd) return false;
  }
  return true;
}

bool writeStandardOutput(std::string_view text) { return writeTo(STDOUT_FILENO, text); }

bool writeStandardError(std::string_view text) { return writeTo(STDERR_FILENO, text); }

}  // namespace quelto::platform
