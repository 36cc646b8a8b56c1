#pragma once

#include <optional>

#include "platform/children/child_options.h"
#include "platform/threads/semaphore.h"

namespace quelto::launcher {

/// Runs ssh on our own standard streams, forwards the termination signals to it, waits for it to end and then
/// at most 10 seconds for `finish`, which a background save or delete signals. Returns ssh's termination
/// status (the signal's number when a signal ended it); absent, after the same wait for `finish`, when ssh
/// cannot be started. Main thread only.
[[nodiscard]] std::optional<int> runSsh(const platform::ChildOptions& ssh, platform::Semaphore& finish);

}  // namespace quelto::launcher
