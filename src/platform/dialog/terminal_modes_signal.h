#pragma once

namespace quelto::platform {

/// While it lives, a terminal takes whole lines of UTF-8, shows what is typed, and turns its keys into
/// signals, whatever state somebody left it in. The modes found are put back by the destructor, and also when
/// a signal comes that ends the process by its default action, which then follows. A signal that somebody
/// handles is left to that handler. One at a time; main thread only.
class TerminalModes {
 public:
  /// The terminal is borrowed for the life of this object.
  explicit TerminalModes(int terminal);
  ~TerminalModes();
  TerminalModes(const TerminalModes&) = delete;
  TerminalModes& operator=(const TerminalModes&) = delete;
};

/// Puts the modes found back if a `TerminalModes` has changed any; for handlers that end the process
/// themselves. May be called again, and on any thread; errno is kept. Signal-safe.
void restoreTerminalModes() noexcept;

}  // namespace quelto::platform
