#include "crash/packet_splitter.h"

#include <algorithm>

#include "crash/crash_comm.h"

namespace quelto::crash {
namespace {

/// The flags of a packet. They have no place in a text.
constexpr std::string_view firstBytes{"\x00\x01", 2};

}  // namespace

void PacketSplitter::add(std::string_view bytes, const PacketTaker& take) {
  while (!bytes.empty()) {
    if (remainder_.empty()) bytes.remove_prefix(std::min(bytes.find_first_of(firstBytes), bytes.size()));
    const bool hasHeader = remainder_.size() >= headerLength;
    const std::size_t missing = (hasHeader ? packetLength : headerLength) - remainder_.size();
    const std::size_t next = holdsLastPacket() ? bytes.find_first_of(firstBytes) : std::string_view::npos;
    const std::size_t length = std::min({missing, next, bytes.size()});
    remainder_ += bytes.substr(0, length);
    bytes.remove_prefix(length);
    if (remainder_.size() == packetLength || length == next) handOn(take);
  }
}

bool PacketSplitter::holdsLastPacket() const {
  return remainder_.size() >= headerLength && isLastOfText(remainder_);
}

void PacketSplitter::endLastPacket(const PacketTaker& take) {
  if (holdsLastPacket()) handOn(take);
}

void PacketSplitter::handOn(const PacketTaker& take) {
  take(remainder_);
  remainder_.clear();
}

}  // namespace quelto::crash
