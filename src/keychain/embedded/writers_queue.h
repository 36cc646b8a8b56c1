#pragma once

#include "keychain/embedded/deadline.h"
#include "platform/files/private_folder.h"
#include "platform/files/unique_fd.h"

namespace quelto::keychain::embedded {

inline constexpr const char* queueName = "keychain.queue";

/// A place in the queue of those who want to write, first come, first served, over all processes. SQLite has
/// none: who waits for its write lock looks again and again, so that one that adds many items takes the lock
/// before others wake up, and of many that wait some go away empty-handed.
///
/// The queue is a file without content. A number in it is a lock on the byte of that offset (open file
/// description locks), which the system gives back when its owner ends in whatever way. Where a file system
/// has no such locks everybody is first.
class PlaceInQueue {
 public:
  /// Comes back at the head of the queue, for as long as the object lives. Throws Failure: errSecNotAvailable
  /// when the deadline is over before, or the file is not private; errSecIO when it cannot be made.
  PlaceInQueue(const platform::PrivateFolder& folder, Deadline& deadline);

 private:
  platform::UniqueFd queue_;
};

}  // namespace quelto::keychain::embedded
