#include "platform/terminal_modes_signal.h"

#include <signal.h>
#include <termios.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>

namespace quelto::platform {
namespace {

constexpr std::array<int, 4> endingSignals{SIGHUP, SIGINT, SIGQUIT, SIGTERM};

/// The terminal whose modes are changed; -1: none. Set last and cleared first, so that a handler that sees a
/// terminal also sees its modes.
constinit std::atomic<int> changedTerminal{-1};
constinit termios modesFound{};
constinit std::array<struct sigaction, endingSignals.size()> actionsFound{};

/// Signal-safe.
void restoreModes() noexcept {
  const int terminal = changedTerminal.exchange(-1);
  if (terminal != -1) ::tcsetattr(terminal, TCSANOW, &modesFound);
}

/// Puts the modes back and lets the signal act as it would have without us: it waits until this handler
/// returns. Signal-safe.
void restoreAndRaise(int signal) noexcept {
  const int saved = errno;
  restoreModes();
  for (std::size_t index = 0; index < endingSignals.size(); ++index) {
    if (endingSignals[index] == signal) ::sigaction(signal, &actionsFound[index], nullptr);
  }
  (void)::raise(signal);
  errno = saved;
}

void routeEndingSignals() {
  struct sigaction action {};
  action.sa_handler = restoreAndRaise;
  for (std::size_t index = 0; index < endingSignals.size(); ++index) {
    ::sigaction(endingSignals[index], nullptr, &actionsFound[index]);
    if (actionsFound[index].sa_handler != SIG_IGN) ::sigaction(endingSignals[index], &action, nullptr);
  }
}

termios lineModes(termios modes) {
  modes.c_iflag |= ICRNL;
  modes.c_oflag |= OPOST;
  modes.c_lflag |= ICANON | ECHO | ISIG;
  return modes;
}

bool isSame(const termios& one, const termios& other) {
  return one.c_iflag == other.c_iflag && one.c_oflag == other.c_oflag && one.c_lflag == other.c_lflag;
}

}  // namespace

TerminalModes::TerminalModes(int terminal) {
  if (::tcgetattr(terminal, &modesFound) != 0) return;
  const termios wanted = lineModes(modesFound);
  if (isSame(wanted, modesFound)) return;
  routeEndingSignals();
  changedTerminal.store(terminal);
  ::tcsetattr(terminal, TCSADRAIN, &wanted);
}

TerminalModes::~TerminalModes() {
  if (changedTerminal.load() == -1) return;
  restoreModes();
  for (std::size_t index = 0; index < endingSignals.size(); ++index) {
    ::sigaction(endingSignals[index], &actionsFound[index], nullptr);
  }
}

}  // namespace quelto::platform
