#pragma once

#include <span>

namespace quelto::platform {

/// Resets the signals to their default action, in the order given; keeps errno. Signal-safe.
void resetSignals(std::span<const int> signals) noexcept;

}  // namespace quelto::platform
