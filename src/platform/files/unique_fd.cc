#include "platform/files/unique_fd.h"

#include <unistd.h>

#include <cerrno>

namespace quelto::platform {

void UniqueFd::reset() noexcept {
  if (fd_ < 0) return;
  const int saved = errno;
  // Linux frees the number even when close is interrupted, so it is never called twice for one descriptor.
  ::close(std::exchange(fd_, -1));
  errno = saved;
}

}  // namespace quelto::platform
