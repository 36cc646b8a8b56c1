#include "platform/files/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

#include "platform/threads/deadline.h"

namespace quelto::platform {

FolderLock::FolderLock(const std::string& folder)
    : folder_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  const Deadline deadline(limit);
  while (folder_ && ::flock(folder_.get(), LOCK_EX | LOCK_NB) != 0) {
    if ((errno != EWOULDBLOCK && errno != EINTR) || !deadline.pause()) break;
  }
}

FolderLock::~FolderLock() {
  // Closing would leave it to a child that is about to start, until it has.
  if (folder_) ::flock(folder_.get(), LOCK_UN);
}

}  // namespace quelto::platform
