#include "crash/packet_splitter.h"

#include <gtest/gtest.h>

#include <tuple>

#include "tests/crash/packets.h"

namespace quelto::crash {
namespace {

using test::packet;
using test::packets;

struct Split {
  std::vector<std::string> taken;
  std::size_t kept;
  bool isLast;
};

/// The stream in pieces of that size.
Split split(std::string_view stream, std::size_t pieceSize) {
  Split result{};
  PacketSplitter splitter;
  const auto take = [&result](std::string_view packet) { result.taken.emplace_back(packet); };
  for (std::size_t at = 0; at < stream.size(); at += pieceSize) {
    splitter.add(stream.substr(at, pieceSize), take);
    EXPECT_LT(splitter.size(), PacketSplitter::packetLength);
  }
  result.kept = splitter.size();
  result.isLast = splitter.holdsLastPacket();
  splitter.endLastPacket(take);
  EXPECT_EQ(splitter.size(), result.isLast ? 0 : result.kept);
  return result;
}

TEST(PacketSplitter, FindsPacketsHoweverTheStreamIsCut) {
  const std::string one = test::joined(packets("one"));
  const auto full = packets(std::string(240, 'f'));
  const auto three = packets(std::string(500, 't'), std::string("\0\1\2\3\4\5\6\7\0\1\2", 11));
  const std::string tail = packet({.flags = 1, .count = 2, .index = 700}, "beyond");
  const auto row = [](const char* name, std::string stream, std::vector<std::string> taken, std::size_t kept,
                      bool isLast) {
    return std::tuple(name, std::move(stream), std::move(taken), kept, isLast);
  };
  const std::string bare = packet({.flags = 0, .count = 1, .index = 0}, "");
  const auto rows = {
      row("nothing", "", {}, 0, false),
      row("a short text", one, {one}, one.size(), true),
      row("a full packet", full[0], full, 0, false),
      row("several packets", test::joined(three), three, three[2].size(), true),
      row("two texts", one + test::joined(three), {one, three[0], three[1], three[2]}, three[2].size(), true),
      row("a full packet before another", full[0] + one, {full[0], one}, one.size(), true),
      row("index beyond the count", tail + one, {tail, one}, one.size(), true),
      row("a header alone", bare + one, {bare, one}, one.size(), true),
      row("half a packet", three[0].substr(0, 100), {}, 100, false),
      row("half a header", one.substr(0, 15), {}, 15, false),
      row("noise before a packet", "noise\xFF" + one, {one}, one.size(), true),
      row("noise between packets", full[0] + "noise" + one, {full[0], one}, one.size(), true),
      row("noise alone", std::string(1000, 'n'), {}, 0, false),
  };
  for (const auto& [name, stream, taken, kept, isLast] : rows) {
    for (const std::size_t pieceSize :
         {std::size_t{1}, std::size_t{7}, std::size_t{256}, std::size_t{65536}}) {
      const Split result = split(stream, pieceSize);
      EXPECT_EQ(result.taken, taken) << name << " in pieces of " << pieceSize;
      EXPECT_EQ(result.kept, kept) << name;
      EXPECT_EQ(result.isLast, isLast) << name;
    }
  }
}

TEST(PacketSplitter, GoesOnAfterTheEndOfATextWasTaken) {
  PacketSplitter splitter;
  std::vector<std::string> taken;
  const auto take = [&taken](std::string_view packet) { taken.emplace_back(packet); };
  const auto two = packets(std::string(241, 't'));
  splitter.add(two[0].substr(0, 100), take);
  splitter.endLastPacket(take);
  splitter.add(two[0].substr(100) + two[1], take);
  splitter.endLastPacket(take);
  splitter.add("late" + two[0], take);
  EXPECT_EQ(taken, (std::vector{two[0], two[1], two[0]}));
}

}  // namespace
}  // namespace quelto::crash
