#pragma once

namespace quelto::platform {

/// Ends the process at once with this status. Nothing is flushed (this program's writes are unbuffered) and
/// nothing destroyed, since other threads may still run. Waits instead where another thread is to end the
/// process. Signal-safe.
[[noreturn]] void leave(int status) noexcept;

/// Keeps the other threads from leaving before this one does. One thread at most calls it. Signal-safe.
void leaveFromThisThreadOnly() noexcept;

}  // namespace quelto::platform
