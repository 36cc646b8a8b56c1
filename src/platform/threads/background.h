#pragma once

#include <functional>

namespace quelto::platform {

/// Runs a task on a thread of its own and does not wait for it: it ends with the process at the latest. Runs
/// it at once, on the caller's thread, when no thread can be had. Signals that other processes send are left
/// to the other threads. Thread-safe.
void runInBackground(std::function<void()> task);

}  // namespace quelto::platform
