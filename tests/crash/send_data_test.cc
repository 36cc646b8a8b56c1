#include "crash/send_data_signal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "crash/crash_clock_signal.h"
#include "platform/files/descriptor_io.h"
#include "platform/files/unique_fd.h"

namespace quelto::crash {
namespace {

using namespace std::chrono_literals;

struct Connection {
  platform::UniqueFd sender;
  platform::UniqueFd receiver;

  Connection() {
    std::array<int, 2> ends{};
    // Keeps the packets apart, which a stream does not.
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
    sender = platform::UniqueFd(ends[0]);
    receiver = platform::UniqueFd(ends[1]);
  }

  /// What one call sends.
  std::vector<std::string> packetsOf(std::vector<std::string_view> pieces) {
    std::thread sending([&] {
      sendData(pieces, sender.get());
      sender.reset();
    });
    std::vector<std::string> packets;
    for (std::array<char, 1024> buffer{};;) {
      const auto size = platform::readSome(receiver.get(), buffer);
      if (!size || *size == 0) break;
      packets.emplace_back(buffer.data(), *size);
    }
    sending.join();
    return packets;
  }
};

TEST(SendData, CutsATextIntoPackets) {
  for (const std::size_t length : {0U, 1U, 240U, 241U, 480U, 700U}) {
    std::string text(length, 'x');
    for (std::size_t at = 0; at < length; ++at) text[at] = static_cast<char>('a' + at % 23);
    const std::string_view view = text;
    const auto packets = Connection().packetsOf({view.substr(0, length / 3), "", view.substr(length / 3)});
    ASSERT_EQ(packets.size(), (length + 239) / 240) << length;
    std::string joined;
    for (std::size_t index = 0; index < packets.size(); ++index) {
      const char flags = length > 240 ? '\1' : '\0';
      const std::string head{flags, static_cast<char>(packets.size()), '\0', static_cast<char>(index), '\0'};
      EXPECT_EQ(packets[index].substr(0, 5), head);
      EXPECT_EQ(packets[index].substr(5, 11), packets[0].substr(5, 11));
      EXPECT_EQ(packets[index].size(), 16 + std::min<std::size_t>(240, length - 240 * index));
      joined += packets[index].substr(16);
    }
    EXPECT_EQ(joined, text);
  }
}

TEST(SendData, KeepsTheStartOfATextThatIsTooLong) {
  constexpr std::size_t most = std::size_t{240} * 65'535;
  const std::string text(most - 2, 'x');
  const struct {
    std::string_view end;
    std::size_t sent;
  } rows[] = {
      {"yy", most}, {"yyy", most}, {"y\u00E4", most - 1}, {"\U0001F600", most - 2}, {"\u00E4\u00E4", most}};
  for (const auto& row : rows) {
    EXPECT_EQ(sendableLength(std::array<std::string_view, 3>{text, "", row.end}), row.sent) << row.end;
  }
}

TEST(SendData, PausesAlsoWithoutAReceiver) {
  const std::string text(3 * 240, 'x');
  Connection gone;
  gone.receiver.reset();
  for (const int descriptor : {-1, gone.sender.get()}) {
    const auto begin = std::chrono::steady_clock::now();
    sendData(std::array<std::string_view, 1>{text}, descriptor);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 30ms);
  }
}

TEST(SendData, GivesUpOnAReceiverThatHangs) {
  const Connection hanging;
  const std::string filling(200, 'x');
  while (::send(hanging.sender.get(), filling.data(), filling.size(), MSG_DONTWAIT) > 0) {
  }
  const auto begin = std::chrono::steady_clock::now();
  sendData(std::array<std::string_view, 1>{std::string(20 * 240, 'x')}, hanging.sender.get());
  const auto time = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(time, 5s);
  EXPECT_LT(time, 8s);
}

TEST(Identity, IsTheLocalTimeAndSixRandomBytes) {
  const auto minuteOfTheDay = [] {
    const auto local = std::chrono::system_clock::now() + 5h + 45min;
    return (local - std::chrono::floor<std::chrono::days>(local)) / 1min;
  };
  ::setenv("TZ", "XXX-5:45", 1);
  prepareCrashClock();
  const auto before = minuteOfTheDay();
  const auto one = buildIdentity();
  const auto other = buildIdentity();
  EXPECT_THAT(60 * one[0] + one[1], testing::AnyOf(before, minuteOfTheDay()));
  EXPECT_LT(one[2], 60);
  EXPECT_LE(one[3] + 256 * one[4], 999);
  EXPECT_FALSE(std::equal(one.begin() + 5, one.end(), other.begin() + 5));
  ::unsetenv("TZ");
}

TEST(CrashClock, WritesTwoForms) {
  const LocalMoment moment{
      .year = 2026, .month = 2, .day = 3, .hours = 4, .minutes = 5, .seconds = 6, .milliseconds = 7};
  EXPECT_EQ(crashDate(moment).view(), "2026-02-03_04:05:06");
  EXPECT_EQ(sendingDate(moment).view(), "2026-02-03 04:05:06.007");
}

}  // namespace
}  // namespace quelto::crash
