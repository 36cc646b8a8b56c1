#include "platform/signals/signals.h"

#include <cerrno>
#include <ctime>

#include "platform/signals/disposition_signal.h"

namespace quelto::platform {
namespace {

/// Without `rememberSignalsAtStart` (in a test): nothing blocked, nothing ignored.
struct SignalState {
  sigset_t blocked{};
  sigset_t ignored{};
};
constinit SignalState atStart;

/// The standard signals. Real-time signals are never ignored here, so a child gets them as we did.
constexpr int signalsEnd = 32;

bool isMember(const sigset_t& set, int signal) { return sigismember(&set, signal) == 1; }

bool canBeChanged(int signal) { return signal != SIGKILL && signal != SIGSTOP && signal != SIGCHLD; }

/// The current action of a signal; false for the numbers that the C library reserves.
bool readAction(int signal, struct sigaction& action) { return ::sigaction(signal, nullptr, &action) == 0; }

sigset_t ignoredNow() {
  sigset_t ignored;
  sigemptyset(&ignored);
  for (int signal = 1; signal < signalsEnd; ++signal) {
    struct sigaction action {};
    if (readAction(signal, action) && action.sa_handler == SIG_IGN) sigaddset(&ignored, signal);
  }
  return ignored;
}

}  // namespace

void rememberSignalsAtStart() {
  ::pthread_sigmask(SIG_SETMASK, nullptr, &atStart.blocked);
  atStart.ignored = ignoredNow();
  resetSignals(std::array{SIGCHLD});
}

void routeSignals(std::span<const int> signals, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  action.sa_mask = setOf(signals);
  for (const int signal : signals) ::sigaction(signal, &action, nullptr);
}

BlockedSignals::BlockedSignals(std::span<const int> signals) : signals_(setOf(signals)) {
  ::pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
}

BlockedSignals::~BlockedSignals() { ::pthread_sigmask(SIG_UNBLOCK, &signals_, nullptr); }

IgnoredBrokenPipe::IgnoredBrokenPipe() {
  const sigset_t pipe = setOf(std::array{SIGPIPE});
  ::pthread_sigmask(SIG_BLOCK, &pipe, &maskBefore_);
}

IgnoredBrokenPipe::~IgnoredBrokenPipe() {
  const sigset_t pipe = setOf(std::array{SIGPIPE});
  constexpr timespec noWait{};
  const int saved = errno;
  // Discards what a write raised meanwhile, unless the signal was blocked before: then its owner handles it.
  if (!isMember(maskBefore_, SIGPIPE)) ::sigtimedwait(&pipe, nullptr, &noWait);
  ::pthread_sigmask(SIG_SETMASK, &maskBefore_, nullptr);
  errno = saved;
}

ChildSignals::ChildSignals() {
  sigemptyset(&resetToDefault_);
  sigemptyset(&ignoredForChild_);
  const sigset_t ignored = ignoredNow();
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  for (int signal = 1; signal < signalsEnd; ++signal) {
    const bool was = isMember(atStart.ignored, signal);
    if (was == isMember(ignored, signal) || !canBeChanged(signal)) continue;
    if (!was) {
      sigaddset(&resetToDefault_, signal);
    } else if (::sigaction(signal, &ignore, &before_[signal]) == 0) {
      sigaddset(&ignoredForChild_, signal);
    }
  }
}

ChildSignals::~ChildSignals() {
  for (int signal = 1; signal < signalsEnd; ++signal) {
    if (isMember(ignoredForChild_, signal)) ::sigaction(signal, &before_[signal], nullptr);
  }
}

const sigset_t& ChildSignals::blocked() const { return atStart.blocked; }

}  // namespace quelto::platform
