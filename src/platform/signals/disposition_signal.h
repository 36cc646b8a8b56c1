#pragma once

#include <signal.h>

#include <array>
#include <span>

/// What signals do to this process. All functions are signal-safe.
namespace quelto::platform {

/// Come to the thread that has made the fault, on which they must not be blocked.
inline constexpr std::array faultSignals{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS};

using FaultHandler = void (*)(int, siginfo_t*, void*);

/// Routes signals to a handler that runs on the thread's `AlternateStack`, if it has one. All signals are
/// blocked on its thread while it runs: sent from outside again and again, they would fill that stack. A
/// handler that may fault itself routes the fault signals anew, to a handler for that. Unblocks the signals
/// on the calling thread, whatever the process was started with.
void routeFaults(std::span<const int> signals, FaultHandler handler) noexcept;

[[nodiscard]] sigset_t setOf(std::span<const int> signals) noexcept;

/// Gives the signals their default action, in the order given; keeps errno.
void resetSignals(std::span<const int> signals) noexcept;

/// Keeps errno.
void ignoreSignals(std::span<const int> signals) noexcept;

/// Keeps all signals that others send from the calling thread.
void blockSignals() noexcept;

/// Lets the signals reach the calling thread.
void unblockSignals(std::span<const int> signals) noexcept;

}  // namespace quelto::platform
