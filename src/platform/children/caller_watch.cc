#include "platform/children/caller_watch.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

namespace quelto::platform {
namespace {

constinit pid_t callerAtStart = 0;

/// Whether somebody may hold another end of the stream.
bool hasOtherEnd(int fd) {
  struct stat status {};
  return ::fstat(fd, &status) == 0 &&
         (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) || ::isatty(fd) == 1);
}

}  // namespace

void rememberCaller() { callerAtStart = ::getppid(); }

CallerWatch::CallerWatch() {
  if (callerAtStart == 0) return;
  caller_ = UniqueFd(static_cast<int>(::syscall(SYS_pidfd_open, callerAtStart, 0)));
  const bool isThere = ::getppid() == callerAtStart;
  // Once it has ended its number may belong to another process.
  if (!isThere) caller_.reset();
  for (int fd = STDIN_FILENO; fd <= STDOUT_FILENO; ++fd) {
    streams_[static_cast<std::size_t>(fd)] = {.fd = fd, .isOpen = hasOtherEnd(fd)};
  }
  isWatching_ = (caller_ || !isThere) && std::ranges::any_of(streams_, &Stream::isOpen);
}

void CallerWatch::addTo(std::vector<pollfd>& requests) const {
  if (!isWatching_) return;
  if (caller_) {
    requests.push_back({.fd = caller_.get(), .events = POLLIN, .revents = 0});
    return;
  }
  // A stream without another end would be ready at once and for ever.
  for (const Stream& stream : streams_) {
    if (stream.isOpen) requests.push_back({.fd = stream.fd, .events = 0, .revents = 0});
  }
}

bool CallerWatch::isGone(std::span<const pollfd> polled) {
  for (const pollfd& request : polled) {
    if (request.revents == 0) continue;
    if (request.fd == caller_.get()) caller_.reset();
    for (Stream& stream : streams_) stream.isOpen = stream.isOpen && stream.fd != request.fd;
  }
  return isWatching_ && !caller_ && std::ranges::none_of(streams_, &Stream::isOpen);
}

}  // namespace quelto::platform
