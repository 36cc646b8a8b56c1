#pragma once

namespace quelto::platform {

/// While it lives, a terminal takes whole lines, shows what is typed, and turns its keys into signals,
/// whatever state somebody left it in. The modes found are put back by the destructor and also when SIGHUP,
/// SIGINT, SIGQUIT or SIGTERM comes, which then acts as before. One at a time; main thread only.
class TerminalModes {
 public:
  /// The terminal is borrowed for the life of this object.
  explicit TerminalModes(int terminal);
  ~TerminalModes();
  TerminalModes(const TerminalModes&) = delete;
  TerminalModes& operator=(const TerminalModes&) = delete;
};

}  // namespace quelto::platform
