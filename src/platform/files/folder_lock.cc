#include "platform/files/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

namespace quelto::platform {

FolderLock::FolderLock(const std::string& folder, const Deadline& deadline)
    : folder_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  while (folder_ && !isHeld_) {
    isHeld_ = ::flock(folder_.get(), LOCK_EX | LOCK_NB) == 0;
    if (!isHeld_ && ((errno != EWOULDBLOCK && errno != EINTR) || !deadline.pause())) break;
  }
}

FolderLock::~FolderLock() {
  // Closing would leave it to a child that is about to start, until it has.
  if (isHeld_) ::flock(folder_.get(), LOCK_UN);
}

}  // namespace quelto::platform
