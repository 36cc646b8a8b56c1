#pragma once

#include <array>
#include <csignal>
#include <cstdint>

#include "platform/children/child_process.h"

namespace quelto::launcher {

/// The signals that end ssh, in the order in which they are routed and reset.
constexpr std::array<int, 3> forwardedSignals{SIGTERM, SIGQUIT, SIGINT};

/// The running ssh; the one child that signals are forwarded to. Lives as long as the process.
extern platform::ChildProcess task;

/// Handler of the forwarded signals while ssh runs, on whatever thread one arrives: ends `task` and gives all
/// of them back to their default action, so that a second signal ends this tool. Signal-safe.
void signalReceived(std::int32_t signal) noexcept;

}  // namespace quelto::launcher
