#pragma once

#include <array>
#include <csignal>
#include <cstdint>

#include "platform/children/child_process.h"

namespace quelto::launcher {

/// The signals that end ssh, in the order in which they are routed and reset.
constexpr std::array<int, 3> forwardedSignals{SIGTERM, SIGQUIT, SIGINT};

/// The running ssh, the one child that signals are forwarded to. Exists as long as the process.
extern platform::ChildProcess task;

/// Handles the forwarded signals while ssh runs, on whichever thread one arrives: sends `task` SIGTERM and
/// resets all of them to their default action, so that a second signal ends this tool. Signal-safe.
void signalReceived(std::int32_t signal) noexcept;

}  // namespace quelto::launcher
