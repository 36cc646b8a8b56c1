#include "crash/crash_comm.h"

#include <gtest/gtest.h>

#include <tuple>

#include "tests/crash/packets.h"

namespace quelto::crash {
namespace {

using namespace test;

TEST(CrashComm, ParsesPackets) {
  const std::string identity("\x17\x3B\x3B\xE7\x03\x00\x01\x02\x03\x04\x05", 11);
  const auto package = CrashComm::parseData(packet(1, 0x2FF, 0x1FE, "body", identity));
  ASSERT_TRUE(package);
  EXPECT_EQ(package->key, "Fzs75wMAAQIDBAU=");
  const auto& [flags, index, count, body] = package->chunk;
  EXPECT_EQ(std::tuple(flags, index, count, body), std::tuple(PackageFlag::split, 0x1FE, 0x2FF, "body"));
}

TEST(CrashComm, PutsTextsTogether) {
  const std::string umlaut = std::string(239, 'x') + "\u00FC";
  const auto of = [](int count, int index, const char* body, const char* identity = "identity-11") {
    return packet(1, count, index, body, identity);
  };
  const auto ofOther = [&of](int index, const char* body) { return of(2, index, body, "identity-02"); };
  // What each packet completes; "-" for nothing.
  const struct {
    const char* name;
    std::vector<std::string> sent;
    std::vector<std::string> completed;
    std::size_t left = 0;
  } rows[] = {
      {"240 bytes", packets(std::string(240, 'a')), {std::string(240, 'a')}},
      {"241 bytes", packets(std::string(241, 'a')), {"-", std::string(241, 'a')}},
      {"a character cut in two", packets(umlaut), {"-", umlaut}},
      {"no body", {packet(0, 1, 0, "")}, {""}},
      {"any order", {of(3, 2, "c"), of(3, 0, "a"), of(3, 1, "b")}, {"-", "-", "abc"}},
      {"two", {of(2, 0, "a"), ofOther(0, "b"), ofOther(1, "B"), of(2, 1, "A")}, {"-", "-", "bB", "aA"}},
      {"the same index again", {of(2, 0, "x"), of(2, 0, "a"), of(2, 1, "b")}, {"-", "-", "ab"}},
      {"split that counts one", {of(1, 0, "a")}, {"-"}, 1},
      {"split that counts one, again", {of(1, 0, "a"), of(1, 0, "b")}, {"-", "b"}},
      {"entire that counts two", {packet(0, 2, 0, "a"), of(2, 1, "b")}, {"-", "ab"}},
      {"the latest count", {of(9, 0, "a"), of(2, 5, "b")}, {"-", "ab"}},
      {"high indexes", {of(2, 256, "b"), of(2, 255, "a")}, {"-", "ab"}},
      {"not UTF-8", {packet(0, 1, 0, "\xFF"), of(2, 0, "\xC3"), of(2, 1, "x")}, {"-", "-", "-"}},
      {"none",
       {of(2, 0, "a"), packet(2, 1, 0, "a"), std::string(15, 0), of(2, 1, "b")},
       {"-", "-", "-", "ab"}},
  };
  for (const auto& row : rows) {
    CrashComm comm;
    std::vector<std::string> completed;
    for (const auto& data : row.sent) completed.push_back(comm.receiveData(data).value_or("-"));
    EXPECT_EQ(completed, row.completed) << row.name;
    EXPECT_EQ(comm.cache().size(), row.left) << row.name;
  }
}

}  // namespace
}  // namespace quelto::crash
