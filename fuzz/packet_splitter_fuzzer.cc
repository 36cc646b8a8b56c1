#include "crash/packet_splitter.h"

#include <cstdlib>
#include <vector>

/// The first byte is the size of the pieces of the second round, which must find the same packets.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using quelto::crash::PacketSplitter;
  if (size < 2) return 0;
  const std::string_view stream(reinterpret_cast<const char*>(data) + 1, size - 1);
  std::vector<std::string> found[2];
  for (auto& packets : found) {
    const std::size_t piece = &packets == found ? stream.size() : data[0] + std::size_t{1};
    const auto take = [&packets](std::string_view packet) { packets.emplace_back(packet); };
    PacketSplitter splitter;
    for (std::size_t at = 0; at < stream.size(); at += piece) splitter.add(stream.substr(at, piece), take);
    splitter.endLastPacket(take);
  }
  return found[0] == found[1] ? 0 : (std::abort(), 1);
}
