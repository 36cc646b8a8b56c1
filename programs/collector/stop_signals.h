#pragma once

#include <optional>

#include "platform/files/unique_fd.h"

namespace quelto::collector {

/// SIGTERM, SIGINT and SIGHUP, read from a descriptor from now on (signalfd(2)), so that they end nothing
/// half way. One that the process was started to ignore stays ignored.
[[nodiscard]] platform::UniqueFd openStopSignals();

}  // namespace quelto::collector
