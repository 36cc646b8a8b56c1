#include "platform/run_loop/socket_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include "platform/files/folder_lock.h"
#include "platform/files/ownership.h"
#include "platform/files/path_status.h"
#include "platform/files/private_folder.h"
#include "platform/threads/deadline.h"

namespace quelto::platform {
namespace {

/// Of a symbolic link its own, which may lead anywhere.
std::optional<struct stat> statusOf(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
}

}  // namespace

bool SocketFile::isInPrivateFolder() const {
  // SECURITY: whoever else may write to the folder could take our reports, or have us remove a file
  // elsewhere.
  return static_cast<bool>(PrivateFolder::open(parentFolder(path_)));
}

std::optional<SocketFile::Identity> SocketFile::identity() const {
  const auto there = statusOf(path_);
  if (!there) return std::nullopt;
  return Identity{.device = there->st_dev, .inode = there->st_ino};
}

/// Removes what an earlier server left; absent when the place is free then.
std::optional<SocketFile::Claim> SocketFile::obstacle() const {
  const auto there = statusOf(path_);
  if (!there) return std::nullopt;
  if (!isOwnSocket(*there) && !isOwnFile(*there)) return Claim::refused;
  // Connecting to a file that may not be written is refused, not told from a socket.
  const auto isTaken = isOwnFile(*there) ? false : isListening(path_);
  if (!isTaken) return Claim::refused;
  if (*isTaken) return Claim::taken;
  return ::unlink(path_.c_str()) == 0 ? std::nullopt : std::optional(Claim::refused);
}

SocketFile::Claim SocketFile::claim(RunLoopSocket& socket) {
  if (path_.find('\0') != std::string::npos || !isInPrivateFolder()) return Claim::refused;
  const Deadline patience(FolderLock::limit);
  const FolderLock lock(parentFolder(path_), patience);
  // The server that holds the lock is suspended. Bound but not yet listening, its socket would look
  // abandoned.
  if (!lock.isHeld() && patience.isOver()) return Claim::taken;
  if (const auto found = obstacle()) return *found;
  if (!socket.listenAt(path_)) return Claim::refused;
  claimed_ = identity();
  return Claim::listening;
}

void SocketFile::remove() {
  if (!claimed_) return;
  const FolderLock lock(parentFolder(path_));
  if (identity() == claimed_) ::unlink(path_.c_str());
  claimed_.reset();
}

bool SocketFile::isOurSocket() const {
  if (!isInPrivateFolder()) return false;
  const auto there = statusOf(path_);
  // SECURITY: another user's socket would be given our reports.
  return there && isOwnSocket(*there);
}

}  // namespace quelto::platform
