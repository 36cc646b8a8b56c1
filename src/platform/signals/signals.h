#pragma once

#include <signal.h>

#include <span>

namespace quelto::platform {

/// Records the signal mask and the ignored signals that this process was started with, for the children to
/// come, and makes SIGCHLD default: a caller that ignores it would otherwise cost us every exit status.
/// Second call of the process, before any library can change a disposition.
void rememberSignalsAtStart();

/// Routes each signal, in the order given, to the handler with the semantics of BSD `signal`: the handler
/// stays installed and interrupted calls go on. While it runs on a thread, all of `signals` wait there.
void routeSignals(std::span<const int> signals, void (*handler)(int));

/// Holds signals back from the calling thread. The destructor lets exactly these through, also those that
/// the process was started with blocked: a signal that is routed must arrive.
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

/// The signal state for a child to be spawned: that of our own start. While it lives, what was ignored then
/// is ignored again, since a spawned child can be told to take a signal's default but not to ignore it.
/// SIGCHLD is left at its default: the status of a child that ends within that time would be lost.
class ChildSignals {
 public:
  ChildSignals();
  ~ChildSignals();
  ChildSignals(const ChildSignals&) = delete;
  ChildSignals& operator=(const ChildSignals&) = delete;

  /// The mask of our start.
  [[nodiscard]] const sigset_t& blocked() const;
  /// What this process ignores now and did not at its start.
  [[nodiscard]] const sigset_t& resetToDefault() const { return resetToDefault_; }

 private:
  sigset_t resetToDefault_;
  sigset_t ignoredForChild_;
  struct sigaction before_[NSIG];
};

}  // namespace quelto::platform
