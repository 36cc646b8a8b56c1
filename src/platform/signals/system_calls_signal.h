#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string_view>

/// Calls of the system for code that runs in a signal handler.
namespace quelto::platform {

/// Sends everything on a connected socket and takes the time that it needed from `timeLeft`. False when that
/// has run out or the other side is gone. Raises no SIGPIPE. Signal-safe.
[[nodiscard]] bool sendWithin(int socket, std::string_view bytes,
                              std::chrono::nanoseconds& timeLeft) noexcept;

/// Sleeps so long, however many signals arrive meanwhile. Signal-safe.
void sleepFor(std::chrono::nanoseconds time) noexcept;

/// Random bytes from the system. Before its random source is ready, and where it has none, they are only
/// different from call to call. Never waits; not for keys. Signal-safe.
void fillWithRandomBytes(std::span<std::uint8_t> bytes) noexcept;

/// The calling thread's number, unique in the system. Signal-safe.
[[nodiscard]] int threadNumber() noexcept;

/// Waits for the end of the process. Signal-safe.
[[noreturn]] void waitForProcessEnd() noexcept;

}  // namespace quelto::platform
