#include "programs/collector/stop_signals.h"

#include <sys/signalfd.h>

#include <csignal>

namespace quelto::collector {

platform::UniqueFd openStopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    struct sigaction action {};
    const bool isKnown = ::sigaction(signal, nullptr, &action) == 0;
    // Blocked, it would be delivered to the descriptor all the same.
    if (isKnown && action.sa_handler != SIG_IGN) sigaddset(&signals, signal);
  }
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return platform::UniqueFd(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

}  // namespace quelto::collector
