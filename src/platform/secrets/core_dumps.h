#pragma once

namespace quelto::platform {

/// As long as one of these lives, the process writes no core file, and no other process of the user can read
/// its memory (prctl(2), PR_SET_DUMPABLE). Children are not affected. Thread-safe.
class CoreDumpsOff {
 public:
  CoreDumpsOff();
  ~CoreDumpsOff();
  CoreDumpsOff(const CoreDumpsOff&) = delete;
  CoreDumpsOff& operator=(const CoreDumpsOff&) = delete;
};

}  // namespace quelto::platform
