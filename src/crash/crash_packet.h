#pragma once

#include <cstddef>
#include <cstdint>

/// The layout of a packet, which sender and receiver share. Integers are little-endian:
///
///     0   flags, a `PackageFlag`
///     1   how many packets the text has, 16 bits
///     3   which of them this is, from 0, 16 bits
///     5   the text's identity
///     16  the next slice of the text's UTF-8 bytes
///
/// Constants alone, so that code that runs in a signal handler can have them.
namespace quelto::crash {

/// Between the four fields of a report: source, version, date and report.
inline constexpr char separator = '\x0E';

/// Bytes of the text in a packet; fewer in a text's last one alone.
inline constexpr std::size_t chunkLength = 240;
/// Bytes of the identity, the same in all packets of one text.
inline constexpr std::size_t identityLength = 11;
/// Bytes before the slice.
inline constexpr std::size_t headerLength = 16;

enum class PackageFlag : std::uint8_t {
  /// The text is in this packet.
  entire = 0,
  /// The text has several.
  split = 1,
};

}  // namespace quelto::crash
