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
using namespace test;
using namespace testing;

TEST(ClientTexts, AreLimited) {
  ClientTexts texts;
  const auto identity = [](int number) { return "identity" + std::to_string(100 + number); };
  const auto half = [&](int number, int index) {
    return packet(1, 2, index, std::string(240, 'x'), identity(number));
  };
  for (int number = 0; number < 65; ++number) EXPECT_THAT(texts.add(half(number, 0)), IsEmpty());
  for (int number = 64; number >= 0; --number)
    EXPECT_THAT(texts.add(half(number, 1)), SizeIs(number == 0 ? 0 : 1)) << number;
  // The longest text has room beside one packet of another.
  const auto longest = packets(std::string(std::size_t{240} * 65535, 'x'), identity(1));
  for (const int number : {2, 3}) EXPECT_THAT(texts.add(half(number, 0)), IsEmpty());
  for (const auto& packet : longest)
    EXPECT_THAT(texts.add(packet), SizeIs(&packet == &longest.back() ? 1 : 0));
  for (const int number : {2, 3}) EXPECT_THAT(texts.add(half(number, 1)), SizeIs(number - 2));
}

class Server : public Test {
 protected:
  TemporaryFolder folder;
  int isSet = ::setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1);
  std::vector<std::string> reports;
  bool isStopping = false;
  CrashServer server{"group", ".x", "socket", [this](auto date, auto source, auto version, auto report) {
                       reports.push_back(source + "|" + version + "|" + date + "|" + report);
                       if (isStopping) server.stop();
                     }};

  void runFor(std::chrono::milliseconds time) {
    for (const Deadline end(time); !end.isOver(); server.tick()) {
      const Deadline next = server.nextDeadline();
      ASSERT_TRUE(RunLoop::current()->runUntil(next.time() < end.time() ? next : end));
    }
  }
  static void send(const SocketClient& client, const std::string& bytes) {
    EXPECT_EQ(::send(client.descriptor(), bytes.data(), bytes.size(), MSG_NOSIGNAL), std::ssize(bytes));
  }
  [[nodiscard]] std::shared_ptr<SocketClient> sender(const std::string& bytes) const {
    auto client = SocketClient::make(folder.path("quelto/group.x/socket"));
    EXPECT_TRUE(client->start());
    send(*client, bytes);
    return client;
  }
};

TEST_F(Server, TakesReportsOfFourFields) {
  const auto two = packets("s|v|d|" + std::string(300, 'r'));
  const auto open = sender(two[0]);
  const auto gone = sender(two[0]);
  const auto whole = sender(packets("a|b|c|d|e")[0] + packets("a|b|c")[0] + packets("a|b|c|d")[0]);
  runFor(100ms);
  gone->stop();
  EXPECT_THAT(reports, IsEmpty());
  runFor(ClientTexts::silence);
  EXPECT_THAT(reports, ElementsAre("a|b|c|d"));
  // What one client began no other ends.
  const auto other = sender(two[1]);
  send(*open, two[1]);
  runFor(100ms);
  server.stop();
  EXPECT_THAT(reports, SizeIs(2));
}

TEST_F(Server, MayBeStoppedByAReport) {
  isStopping = true;
  const auto client = sender(packets("a|b|c|d")[0] + packets("next")[0]);
  runFor(100ms);
  EXPECT_FALSE(server.isRunning());
  EXPECT_THAT(reports, ElementsAre("a|b|c|d"));
  EXPECT_TRUE(server.start());
  EXPECT_TRUE(CrashServer("group", ".x", "socket", nullptr).isTaken());
  CrashServer without("../group", ".x", "socket", nullptr);
  EXPECT_FALSE(without.isRunning() || without.isTaken() || without.start());
}

}  // namespace
}  // namespace quelto::crash
