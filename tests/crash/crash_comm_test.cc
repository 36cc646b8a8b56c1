#include "crash/crash_comm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/crash/packets.h"

namespace quelto::crash {
namespace {

using test::packet;
using test::packets;
using testing::ElementsAre;

/// What each packet completes; "-" for nothing.
std::vector<std::string> received(const std::vector<std::string>& sent, CrashComm& comm) {
  std::vector<std::string> result;
  for (const auto& data : sent) result.push_back(comm.receiveData(data).value_or("-"));
  return result;
}

TEST(CrashComm, ParsesPackets) {
  const auto package =
      CrashComm::parseData(std::string("\x01\xFF\x02\xFE\x01\x17\x3B\x3B\xE7\x03\x00\x01\x02\x03\x04\x05"
                                       "body",
                                       20));
  ASSERT_TRUE(package);
  EXPECT_EQ(package->key, "Fzs75wMAAQIDBAU=");
  EXPECT_EQ(package->chunk.flags, PackageFlag::split);
  EXPECT_EQ(package->chunk.count, 0x2FF);
  EXPECT_EQ(package->chunk.index, 0x1FE);
  EXPECT_EQ(package->chunk.body, "body");
  EXPECT_FALSE(CrashComm::parseData(packet({.flags = 2, .count = 1, .index = 0}, "text")));
  EXPECT_FALSE(CrashComm::parseData(packet({.flags = 0, .count = 1, .index = 0}, "").substr(0, 15)));
  EXPECT_FALSE(CrashComm::parseData(""));
}

TEST(CrashComm, PutsTextsTogether) {
  const std::string umlauts = "x" + [] {
    std::string text;
    for (int count = 0; count < 200; ++count) text += "\u00FC";
    return text;
  }();
  const auto of = [](int count, int index, std::string_view body, std::string identity = "identity-11") {
    return packet({.flags = 1, .count = count, .index = index, .identity = std::move(identity)}, body);
  };
  const struct {
    const char* name;
    std::vector<std::string> sent;
    std::vector<std::string> completed;
    std::size_t left = 0;
  } rows[] = {
      {"240 bytes", packets(std::string(240, 'a')), {std::string(240, 'a')}},
      {"241 bytes", packets(std::string(241, 'a')), {"-", std::string(241, 'a')}},
      {"480 bytes", packets(std::string(480, 'a')), {"-", std::string(480, 'a')}},
      {"a character cut in two", packets(umlauts), {"-", umlauts}},
      {"no body", {packet({.flags = 0, .count = 1, .index = 0}, "")}, {""}},
      {"any order", {of(3, 2, "c"), of(3, 0, "a"), of(3, 1, "b")}, {"-", "-", "abc"}},
      {"two texts at once",
       {of(2, 0, "a", "identity-01"), of(2, 0, "b", "identity-02"), of(2, 1, "B", "identity-02"),
        of(2, 1, "A", "identity-01")},
       {"-", "-", "bB", "aA"}},
      {"the same index again", {of(2, 0, "x"), of(2, 0, "a"), of(2, 1, "b")}, {"-", "-", "ab"}},
      {"split that counts one", {of(1, 0, "a")}, {"-"}, 1},
      {"split that counts one, again", {of(1, 0, "a"), of(1, 0, "b")}, {"-", "b"}},
      {"entire that counts two",
       {packet({.flags = 0, .count = 2, .index = 0}, "a"), of(2, 1, "b")},
       {"-", "ab"}},
      {"the latest count", {of(9, 0, "a"), of(2, 5, "b")}, {"-", "ab"}},
      {"high indexes", {of(2, 256, "b"), of(2, 255, "a")}, {"-", "ab"}},
      {"not UTF-8",
       {packet({.flags = 0, .count = 1, .index = 0}, "\xFF"), of(2, 0, "\xC3"), of(2, 1, "x")},
       {"-", "-", "-"}},
      {"no packet between", {of(2, 0, "a"), "", std::string(15, '\0'), of(2, 1, "b")}, {"-", "-", "-", "ab"}},
  };
  for (const auto& row : rows) {
    CrashComm comm;
    EXPECT_EQ(received(row.sent, comm), row.completed) << row.name;
    EXPECT_EQ(comm.cache().size(), row.left) << row.name;
    comm.stop();
    EXPECT_TRUE(comm.cache().empty()) << row.name;
  }
}

}  // namespace
}  // namespace quelto::crash
