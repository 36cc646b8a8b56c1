#pragma once

namespace quelto::platform {

/// Ends the process at once with this status. Nothing is flushed (this program's writes are unbuffered) and
/// nothing destroyed, since other threads may still run. Waits instead where another thread is to end the
/// process. Signal-safe.
[[noreturn]] void leave(int status) noexcept;

/// Keeps the other threads from leaving before this one does. False when one is kept from it already, by this
/// thread or another. Signal-safe.
[[nodiscard]] bool leaveFromThisThreadOnly() noexcept;

/// Whether this thread has called that first. Signal-safe.
[[nodiscard]] bool isLeavingThread() noexcept;

}  // namespace quelto::platform
