#pragma once

namespace quelto::platform {

/// Sounds the bell of the controlling terminal, if there is one. Never waits: not for a terminal that is
/// stopped (Ctrl-S), and not to be stopped itself in the background. Signal-safe.
void beep() noexcept;

}  // namespace quelto::platform
