#include "crash/crash_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "platform/run_loop/run_loop.h"
#include "tests/crash/packets.h"
#include "tests/support/temporary_folder.h"

namespace quelto::crash {
namespace {

using namespace std::chrono_literals;
using platform::Deadline;
using platform::RunLoop;
using test::packet;
using test::packets;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::string numbered(int number) { return "identity" + std::to_string(100 + number); }

TEST(ClientTexts, AreLimited) {
  ClientTexts texts;
  const auto half = [](int number, int index) {
    return packet({.flags = 1, .count = 2, .index = index, .identity = numbered(number)},
                  std::string(240, static_cast<char>('a' + index)));
  };
  for (int number = 0; number < 65; ++number) EXPECT_THAT(texts.add(half(number, 0)), IsEmpty());
  for (int number = 64; number > 0; --number) EXPECT_THAT(texts.add(half(number, 1)), SizeIs(1)) << number;
  EXPECT_THAT(texts.add(half(0, 1)), IsEmpty()) << "the first was dropped";

  // The longest text has room beside one packet of another.
  const auto longest = packets(std::string(std::size_t{240} * 65535, 'x'), numbered(1));
  for (const int number : {2, 3}) EXPECT_THAT(texts.add(half(number, 0)), IsEmpty());
  EXPECT_THAT(texts.add(test::joined(longest)), SizeIs(1));
  EXPECT_THAT(texts.add(half(2, 1)), IsEmpty());
  EXPECT_THAT(texts.add(half(3, 1)), SizeIs(1));
}

struct Received {
  std::vector<std::string> reports;
  CrashServer* stopped = nullptr;

  auto callback() {
    return [this](const auto& date, const auto& source, const auto& version, const auto& report) {
      reports.push_back(source + "|" + version + "|" + date + "|" + report);
      if (stopped != nullptr) stopped->stop();
    };
  }
};

class Server : public testing::Test {
 protected:
  Server() { EXPECT_TRUE(server.isRunning()); }
  ~Server() override { ::unsetenv("XDG_RUNTIME_DIR"); }

  static void runFor(CrashServer& server, const Deadline& end) {
    while (!end.isOver()) {
      const Deadline next = server.nextDeadline();
      ASSERT_TRUE(RunLoop::current()->runUntil(next.time() < end.time() ? next : end));
      server.tick();
    }
  }
  [[nodiscard]] std::shared_ptr<SocketClient> sender(const std::string& bytes) const {
    auto client = SocketClient::make(folder.path("quelto/group.x/socket"));
    EXPECT_TRUE(client->start());
    EXPECT_EQ(::send(client->descriptor(), bytes.data(), bytes.size(), MSG_NOSIGNAL), std::ssize(bytes));
    return client;
  }

  test::TemporaryFolder folder;
  int isSet = ::setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1);
  Received received;
  CrashServer server{"group", ".x", "socket", received.callback()};
};

TEST_F(Server, TakesReportsOfFourFields) {
  const std::string report =
      "a\x0E"
      "b\x0E"
      "c\x0E"
      "d";
  const auto two = packets(
      "s\x0E"
      "v\x0E"
      "d\x0E" +
      std::string(300, 'r'));
  const auto open = sender(two[0]);
  const auto gone = sender(two[0]);
  const auto whole = sender(test::joined(packets(report + "\x0E")) +
                            test::joined(packets("a\x0E"
                                                 "b\x0E"
                                                 "c")) +
                            test::joined(packets(report)));
  runFor(server, Deadline(100ms));
  EXPECT_THAT(received.reports, IsEmpty());
  gone->stop();
  runFor(server, Deadline(ClientTexts::silence));
  // What one client began, no other ends.
  EXPECT_THAT(received.reports, ElementsAre("a|b|c|d"));
  ASSERT_EQ(::send(open->descriptor(), two[1].data(), two[1].size(), MSG_NOSIGNAL), std::ssize(two[1]));
  const auto other = sender(two[1]);
  server.stop();
  EXPECT_THAT(received.reports, SizeIs(1));
}

TEST_F(Server, MayBeStoppedByAReport) {
  received.stopped = &server;
  const auto client = sender(test::joined(packets("a\x0E"
                                                  "b\x0E"
                                                  "c\x0E"
                                                  "d")) +
                             packets("next")[0]);
  runFor(server, Deadline(100ms));
  EXPECT_FALSE(server.isRunning());
  EXPECT_THAT(received.reports, ElementsAre("a|b|c|d"));
  EXPECT_TRUE(server.start());
  EXPECT_TRUE(CrashServer("group", ".x", "socket", nullptr).isTaken());
  CrashServer without("../group", ".x", "socket", nullptr);
  EXPECT_FALSE(without.isRunning() || without.isTaken() || without.start());
  without.tick();
  EXPECT_EQ(without.nextDeadline().time(), Deadline::never().time());
}

}  // namespace
}  // namespace quelto::crash
