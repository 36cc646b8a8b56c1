#include "platform/dialog/terminal_modes_signal.h"

#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <utility>

#include "platform/signals/disposition_signal.h"

namespace quelto::platform {
namespace {

/// The signals that cannot be handled or do not end the process by default. All others end it, the real-time
/// signals too.
constexpr std::array otherSignals{SIGKILL, SIGSTOP, SIGTSTP, SIGTTIN, SIGTTOU,
                                  SIGCONT, SIGCHLD, SIGURG,  SIGWINCH};

/// The keys that a question needs, for a terminal on which they are switched off: Ctrl-C, Ctrl-D, backspace
/// and Ctrl-U.
constexpr std::array<std::pair<std::size_t, cc_t>, 4> neededKeys{
    {{VINTR, 0x03}, {VEOF, 0x04}, {VERASE, 0x7F}, {VKILL, 0x15}}};

/// The terminal whose modes are changed; -1: none. It is set after the modes were recorded and cleared after
/// they were restored, so that a signal in between always finds both.
constinit std::atomic<int> changedTerminal{-1};
constinit termios modesFound{};
constinit struct sigaction actionsFound[NSIG] {};

/// Blocks SIGTTOU, which would stop a process in the background here. Signal-safe.
void setModes(int terminal, int when, const termios& modes) noexcept {
  const sigset_t stop = setOf(std::array{SIGTTOU});
  sigset_t before;
  ::pthread_sigmask(SIG_BLOCK, &stop, &before);
  ::tcsetattr(terminal, when, &modes);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

/// Raises the signal again, which takes effect when this handler returns. Signal-safe.
void restoreAndRaise(int signal) noexcept {
  const int saved = errno;
  restoreTerminalModes();
  resetSignals(std::array{signal});
  (void)::raise(signal);
  errno = saved;
}

/// Signals that the C library keeps for itself are included; it refuses to change them.
template <typename Action>
void forEachEndingSignal(Action action) {
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    if (std::ranges::find(otherSignals, signal) == otherSignals.end()) action(signal);
  }
}

void routeEndingSignals() {
  struct sigaction action {};
  action.sa_handler = restoreAndRaise;
  // A thread with a stack overflow needs its alternate stack.
  action.sa_flags = SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  forEachEndingSignal([&action](int signal) { sigaddset(&action.sa_mask, signal); });
  forEachEndingSignal([&action](int signal) {
    ::sigaction(signal, nullptr, &actionsFound[signal]);
    if (actionsFound[signal].sa_handler == SIG_DFL) ::sigaction(signal, &action, nullptr);
  });
}

void putActionsBack() {
  forEachEndingSignal([](int signal) {
    if (actionsFound[signal].sa_handler == SIG_DFL) ::sigaction(signal, &actionsFound[signal], nullptr);
  });
}

termios lineModes(termios modes) {
  modes.c_iflag &= ~static_cast<tcflag_t>(IGNCR | INLCR | ISTRIP | IUCLC);
  modes.c_iflag |= ICRNL | IUTF8;
  modes.c_oflag |= OPOST | ONLCR;
  modes.c_lflag |= ICANON | ECHO | ISIG;
  for (const auto& [key, byDefault] : neededKeys) {
    if (modes.c_cc[key] == _POSIX_VDISABLE) modes.c_cc[key] = byDefault;
  }
  return modes;
}

bool isSame(const termios& one, const termios& other) {
  return one.c_iflag == other.c_iflag && one.c_oflag == other.c_oflag && one.c_lflag == other.c_lflag &&
         std::ranges::equal(one.c_cc, other.c_cc);
}

}  // namespace

TerminalModes::TerminalModes(int terminal) {
  if (::tcgetattr(terminal, &modesFound) != 0) return;
  const termios wanted = lineModes(modesFound);
  if (isSame(wanted, modesFound)) return;
  routeEndingSignals();
  changedTerminal.store(terminal);
  setModes(terminal, TCSADRAIN, wanted);
}

TerminalModes::~TerminalModes() {
  if (changedTerminal.load() == -1) return;
  restoreTerminalModes();
  changedTerminal.store(-1);
  putActionsBack();
}

void restoreTerminalModes() noexcept {
  const int saved = errno;
  const int terminal = changedTerminal.load();
  if (terminal != -1) setModes(terminal, TCSANOW, modesFound);
  errno = saved;
}

}  // namespace quelto::platform
