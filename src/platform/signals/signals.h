#pragma once

#include <signal.h>

#include <array>
#include <span>

namespace quelto::platform {

/// Records the signal mask and the ignored signals that this process was started with, for its children, and
/// gives SIGCHLD its default action: inherited as ignored, it would lose us every exit status. To be called
/// at the start, right after `openMissingStandardStreams`, before any library can change a disposition.
void rememberSignalsAtStart();

/// Routes each signal, in the order given, to the handler with the semantics of BSD `signal`: the handler
/// stays installed and interrupted calls go on. While it runs, all of `signals` are blocked on its thread.
void routeSignals(std::span<const int> signals, void (*handler)(int));

/// Blocks signals on the calling thread. The destructor unblocks exactly these, even if the process was
/// started with them blocked: a signal that is routed must arrive.
class BlockedSignals {
 public:
  explicit BlockedSignals(std::span<const int> signals);
  ~BlockedSignals();
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  sigset_t signals_;
};

/// While it lives, a write of this thread to a pipe without a reader fails instead of ending the process.
class IgnoredBrokenPipe {
 public:
  IgnoredBrokenPipe();
  ~IgnoredBrokenPipe();
  IgnoredBrokenPipe(const IgnoredBrokenPipe&) = delete;
  IgnoredBrokenPipe& operator=(const IgnoredBrokenPipe&) = delete;

 private:
  sigset_t maskBefore_;
};

/// The signal state for a child to be spawned: that of our own start. As long as the object lives, what was
/// ignored then is ignored again, since posix_spawn can reset a signal to its default but not ignore it.
/// SIGCHLD keeps its default: the status of a child that ends meanwhile would be lost.
class ChildSignals {
 public:
  ChildSignals();
  ~ChildSignals();
  ChildSignals(const ChildSignals&) = delete;
  ChildSignals& operator=(const ChildSignals&) = delete;

  /// The mask of our start.
  [[nodiscard]] const sigset_t& blocked() const;
  /// What this process ignores now but did not at its start.
  [[nodiscard]] const sigset_t& resetToDefault() const { return resetToDefault_; }

 private:
  sigset_t resetToDefault_;
  sigset_t ignoredForChild_;
  struct sigaction before_[NSIG];
};

}  // namespace quelto::platform
