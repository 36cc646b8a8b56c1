#pragma once

#include <span>

namespace quelto::platform {

/// Gives the signals back to their default action, in the order given; errno is kept. Signal-safe.
void resetSignals(std::span<const int> signals) noexcept;

}  // namespace quelto::platform
