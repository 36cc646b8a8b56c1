#include "platform/signals/disposition_signal.h"

#include <signal.h>

#include <cerrno>

namespace quelto::platform {
namespace {

void setAction(std::span<const int> signals, void (*handler)(int)) {
  const int saved = errno;
  struct sigaction action {};
  action.sa_handler = handler;
  for (const int signal : signals) ::sigaction(signal, &action, nullptr);
  errno = saved;
}

}  // namespace

sigset_t setOf(std::span<const int> signals) noexcept {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : signals) sigaddset(&set, signal);
  return set;
}

void routeFaults(std::span<const int> signals, FaultHandler handler) noexcept {
  struct sigaction action {};
  action.sa_sigaction = handler;
  action.sa_flags = SA_RESTART | SA_ONSTACK | SA_SIGINFO;
  sigfillset(&action.sa_mask);
  for (const int signal : signals) ::sigaction(signal, &action, nullptr);
  unblockSignals(signals);
}

void resetSignals(std::span<const int> signals) noexcept { setAction(signals, SIG_DFL); }

void ignoreSignals(std::span<const int> signals) noexcept { setAction(signals, SIG_IGN); }

void blockSignals() noexcept {
  sigset_t all;
  sigfillset(&all);
  ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

void unblockSignals(std::span<const int> signals) noexcept {
  const sigset_t set = setOf(signals);
  ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

}  // namespace quelto::platform
