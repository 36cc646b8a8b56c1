#pragma once

#include <string>

#include "platform/children/captured_run.h"

namespace quelto::launcher {

/// Asks the user's login shell (SHELL, else "/bin/sh") where ssh is. The shell may be slow, so the
/// constructor starts it and `path` waits for its answer. It inherits our standard input and standard error.
class SshLookup {
 public:
  SshLookup();

  /// Waits for the shell without a time limit, but not for the background jobs that it leaves running.
  /// "/usr/bin/ssh" when the shell could not be started or failed, or when its whole output is not the path
  /// of a program that the user may execute: text printed by a profile is not filtered out. Call exactly
  /// once.
  [[nodiscard]] std::string path();

 private:
  platform::CapturedRun shell_;
  bool isStarted_ = false;
};

/// `SshLookup::path` in one call.
[[nodiscard]] std::string find();

/// Whether the path leads to the executable that is running.
[[nodiscard]] bool isThisTool(const std::string& path);

}  // namespace quelto::launcher
