#pragma once

namespace quelto::platform {

/// While it lives, a terminal takes whole lines of UTF-8, shows what is typed and turns its keys into
/// signals, whatever its state before. The destructor restores the former modes, and so does any signal that
/// ends the process by its default action, which then follows. A signal that has a handler is left to that
/// handler. One object at a time; main thread only.
class TerminalModes {
 public:
  /// The terminal is borrowed for the life of this object.
  explicit TerminalModes(int terminal);
  ~TerminalModes();
  TerminalModes(const TerminalModes&) = delete;
  TerminalModes& operator=(const TerminalModes&) = delete;
};

/// Restores the former modes if a `TerminalModes` has changed them; for handlers that end the process. May be
/// called more than once and on any thread; errno is kept. Signal-safe.
void restoreTerminalModes() noexcept;

}  // namespace quelto::platform
