#pragma once

namespace quelto::platform {

/// No core file is written as long as one of these lives, nor may another process of the user look into this
/// one's memory (prctl(2), PR_SET_DUMPABLE). Programs that are started meanwhile are not concerned.
/// Thread-safe.
class CoreDumpsOff {
 public:
  CoreDumpsOff();
  ~CoreDumpsOff();
  CoreDumpsOff(const CoreDumpsOff&) = delete;
  CoreDumpsOff& operator=(const CoreDumpsOff&) = delete;
};

}  // namespace quelto::platform
