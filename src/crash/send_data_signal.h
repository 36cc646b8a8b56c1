#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "crash/crash_packet.h"

namespace quelto::crash {

/// What tells the packets of one text from those of others: the local time as hour, minute, second and
/// milliseconds (2 bytes), and six random bytes. Signal-safe.
[[nodiscard]] std::array<std::uint8_t, identityLength> buildIdentity() noexcept;

/// How many bytes of a text, given in pieces, fit the 65,535 packets that can be counted; the cut is at the
/// border of a character. Signal-safe.
[[nodiscard]] std::size_t sendableLength(std::span<const std::string_view> pieces) noexcept;

/// Sends a text, given in pieces, in packets with a pause of 10 ms after each. The descriptor is that of a
/// connected socket and is borrowed; with -1 nothing is sent, but the pauses are made. An empty text sends
/// nothing; what is over `sendableLength` is left out. Sending may take 5 seconds in all besides the pauses,
/// so that a receiver that hangs does not keep a process that is about to end: after a failure or beyond that
/// time nothing more is sent, and nobody is told. Raises no SIGPIPE. Signal-safe.
void sendData(std::span<const std::string_view> pieces, int descriptor) noexcept;

}  // namespace quelto::crash
