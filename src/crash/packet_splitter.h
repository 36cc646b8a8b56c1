#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "crash/crash_packet.h"

namespace quelto::crash {

/// Finds the packets in what a stream delivers, however it was cut or merged on the way. Their layout carries
/// no length, but each has 256 bytes except a text's last one (flags `entire`, or the highest index of its
/// count or beyond). That ends
///  - after 256 bytes,
///  - before a byte 00 or 01, which begins the next packet, since no report's text holds one,
///  - or when the caller says so, because the sender has hung up or was silent for long.
/// Bytes that cannot begin a packet are skipped where one has to begin. One thread.
class PacketSplitter {
 public:
  static constexpr std::size_t packetLength = headerLength + chunkLength;
  /// Called for each packet, which is valid during the call. It may have a header without a body.
  using PacketTaker = std::function<void(std::string_view packet)>;

  /// Hands on every packet that ends within the bytes and keeps the beginning of the next, less than a
  /// packet.
  void add(std::string_view bytes, const PacketTaker& take);

  /// Whether a last packet is kept that may already be whole.
  [[nodiscard]] bool holdsLastPacket() const;

  /// Hands on such a packet as it is. Anything else that is kept goes on with the next bytes.
  void endLastPacket(const PacketTaker& take);

  /// Bytes that are kept.
  [[nodiscard]] std::size_t size() const { return remainder_.size(); }

 private:
  void handOn(const PacketTaker& take);

  std::string remainder_;
};

}  // namespace quelto::crash
