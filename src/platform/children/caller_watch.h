#pragma once

#include <poll.h>
#include <sys/types.h>

#include <array>
#include <span>
#include <vector>

#include "platform/files/unique_fd.h"

namespace quelto::platform {

/// Remembers which process has started this one; to be called at the start. Without it the caller is never
/// gone.
void rememberCaller();

/// Tells when nobody is left who could want what this program does: the process that started it has ended,
/// and of its standard input and output, as far as they are pipes, sockets or terminals, no other end is
/// open; at least one of them must be. The end of the input alone says nothing, nor does that of the thread
/// that started us. Nothing is read. One thread.
///
/// Never the case on kernels that give no descriptor for a process (before Linux 5.3).
class CallerWatch {
 public:
  CallerWatch();

  /// Appends what is to be polled.
  void addTo(std::vector<pollfd>& requests) const;
  /// Takes what was polled of that, and says whether the caller is gone.
  [[nodiscard]] bool isGone(std::span<const pollfd> polled);

 private:
  struct Stream {
    int fd = -1;
    bool isOpen = false;
  };

  /// Whether there is a caller to watch, and a stream that leads to anybody.
  bool isWatching_ = false;
  /// Empty once the caller has ended.
  UniqueFd caller_;
  std::array<Stream, 2> streams_;
};

}  // namespace quelto::platform
