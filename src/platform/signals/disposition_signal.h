#pragma once

#include <span>

/// What signals do to this process. errno is kept. All functions are signal-safe.
namespace quelto::platform {

/// Gives the signals their default action, in the order given.
void resetSignals(std::span<const int> signals) noexcept;

void ignoreSignals(std::span<const int> signals) noexcept;

/// Lets the signals reach the calling thread.
void unblockSignals(std::span<const int> signals) noexcept;

}  // namespace quelto::platform
