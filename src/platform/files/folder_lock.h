#pragma once

#include <chrono>
#include <string>

#include "platform/files/unique_fd.h"
#include "platform/threads/deadline.h"

namespace quelto::platform {

/// A lock on a folder over all processes and threads that change something in it (flock(2) on the folder
/// itself, so that no file is left behind), held as long as the object lives and released with the process,
/// however that ends.
///
/// Advisory twice over: it waits for another holder until the deadline and goes on without the lock then, so
/// that a process that is stopped blocks nobody for long. It goes on at once where there is no such folder or
/// the file system has no locks. What it protects must therefore stay whole without it.
class FolderLock {
 public:
  static constexpr std::chrono::seconds limit{3};

  explicit FolderLock(const std::string& folder, const Deadline& deadline = Deadline(limit));
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  /// False when it went on without the lock.
  [[nodiscard]] bool isHeld() const { return isHeld_; }

 private:
  UniqueFd folder_;
  bool isHeld_ = false;
};

}  // namespace quelto::platform
