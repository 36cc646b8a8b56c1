#pragma once

#include "platform/files/private_folder.h"
#include "platform/files/unique_fd.h"
#include "platform/threads/deadline.h"

namespace quelto::keychain::embedded {

inline constexpr const char* writerLockName = "keychain.lock";

/// A ticket lock over all processes: writers take their turn first come, first served. SQLite's own lock has
/// no order: those who wait for it look again and again, so that one that adds many items takes it before
/// others wake up, and some of many give up empty-handed.
///
/// A ticket is a lock on one byte of an empty file, at the offset of the ticket's number (open file
/// description locks), which the system releases when its owner ends in whatever way. Where a file system has
/// no such locks nobody waits here.
class WriterLock {
 public:
  /// Returns when no earlier ticket is held. Throws Failure: errSecNotAvailable when the deadline comes
  /// first, or the file is not private; errSecIO when it cannot be made.
  WriterLock(const platform::PrivateFolder& folder, const platform::Deadline& deadline);

 private:
  platform::UniqueFd file_;
};

}  // namespace quelto::keychain::embedded
