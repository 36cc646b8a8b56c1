#include "crash/packet_splitter.h"

#include <gtest/gtest.h>

#include "tests/crash/packets.h"

namespace quelto::crash {
namespace {

using namespace test;

TEST(PacketSplitter, FindsPacketsHoweverTheStreamIsCut) {
  const std::string one = packets("one")[0];
  const std::string full = packets(std::string(240, 'f'))[0];
  const auto three = packets(std::string(500, 't'), std::string("\0\1\2\3\4\5\6\7\0\1\2", 11));
  const std::string tail = packet(1, 2, 700, "beyond");
  const std::string bare = packet(0, 1, 0, "");
  const struct {
    const char* name;
    std::string stream;
    std::vector<std::string> packets;
    /// Bytes that no packet has ended, and whether these are a last packet.
    std::size_t kept = 0;
    bool isLast = false;
  } rows[] = {
      {"a short text", one, {one}, one.size(), true},
      {"a full packet", full, {full}},
      {"several", three[0] + three[1] + three[2], three, three[2].size(), true},
      {"two texts", one + three[0] + three[1], {one, three[0], three[1]}},
      {"a full packet before another", full + one, {full, one}, one.size(), true},
      {"index beyond the count", tail + one, {tail, one}, one.size(), true},
      {"a header alone", bare + one, {bare, one}, one.size(), true},
      {"half a packet", three[0].substr(0, 100), {}, 100},
      {"half a header", one.substr(0, 15), {}, 15},
      {"noise before a packet", "noise\xFF" + one, {one}, one.size(), true},
      {"noise between packets", full + "noise" + one, {full, one}, one.size(), true},
      {"noise alone", std::string(1000, 'n'), {}},
  };
  for (const auto& row : rows) {
    for (const std::size_t size : {std::size_t{1}, std::size_t{7}, std::size_t{256}, std::size_t{65536}}) {
      PacketSplitter splitter;
      std::vector<std::string> taken;
      const auto take = [&taken](std::string_view bytes) { taken.emplace_back(bytes); };
      for (std::size_t at = 0; at < row.stream.size(); at += size) {
        splitter.add(std::string_view(row.stream).substr(at, size), take);
        ASSERT_LT(splitter.size(), PacketSplitter::packetLength) << row.name;
      }
      EXPECT_EQ(splitter.size(), row.kept) << row.name;
      splitter.endLastPacket(take);
      EXPECT_EQ(splitter.size(), row.isLast ? 0 : row.kept) << row.name;
      EXPECT_EQ(taken, row.packets) << row.name << " in pieces of " << size;
    }
  }
}

}  // namespace
}  // namespace quelto::crash
