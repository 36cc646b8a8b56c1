#pragma once

#include <string>

#include "platform/children/captured_run.h"

namespace quelto::launcher {

/// Asks the user's login shell (SHELL, else "/bin/sh") where ssh is. The shell has our standard input and
/// error, and may take its time: it starts when this object is made, and its answer is fetched when it is
/// needed.
class SshLookup {
 public:
  SshLookup();

  /// Waits for the shell without a time limit, but not for what it leaves running. "/usr/bin/ssh" when the
  /// shell could not be started or ended with another status than 0, or when what it printed is anything but
  /// the path of a program that the user may execute: noise from a profile is not told apart from the path.
  /// To be called exactly once.
  [[nodiscard]] std::string path();

 private:
  platform::CapturedRun shell_;
  bool isStarted_ = false;
};

/// The same at once.
[[nodiscard]] std::string find();

/// Whether the path leads to the executable that is running now.
[[nodiscard]] bool isThisTool(const std::string& path);

}  // namespace quelto::launcher
