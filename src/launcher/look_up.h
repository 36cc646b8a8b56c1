#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "platform/threads/semaphore.h"

namespace quelto::launcher {

/// What the function returns, which runs in the background; empty when it takes longer than the limit, which
/// does not hold where no thread can be had. What comes later is dropped. `finish` must hold no count, and
/// holds none afterwards; main thread only.
[[nodiscard]] std::string lookedUp(const std::function<std::string()>& lookUp,
                                   std::chrono::milliseconds limit, platform::Semaphore& finish);

}  // namespace quelto::launcher
