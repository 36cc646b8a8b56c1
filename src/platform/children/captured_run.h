#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "platform/children/child_process.h"
#include "platform/files/unique_fd.h"

namespace quelto::platform {

struct ChildOptions;

struct CapturedOutput {
  int terminationStatus;
  /// What the child wrote; absent when that was more than the limit.
  std::optional<std::string> output;
};

/// One run of a child whose standard output is captured. The caller may do other work between `start` and
/// `finish`; a run that was started must be finished. One thread.
class CapturedRun {
 public:
  /// False when the child cannot be started.
  [[nodiscard]] bool start(ChildOptions options);

  /// Waits for the child's end, without a time limit, but not for background processes of the child that
  /// still hold the output: it ends with what was written by the time the child ended. At most `limit` bytes
  /// are kept.
  [[nodiscard]] CapturedOutput finish(std::size_t limit);

 private:
  ChildProcess child_;
  UniqueFd output_;
};

}  // namespace quelto::platform
