#include "platform/files/descriptor_io.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/time.h>

#include <thread>

#include "platform/files/descriptors.h"

namespace quelto::platform {
namespace {

/// While it lives, a signal interrupts whatever this process does, a thousand times a second.
class Interruptions {
 public:
  Interruptions() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    ::sigaction(SIGALRM, &action, nullptr);
    setTimer(1000);
  }
  ~Interruptions() {
    setTimer(0);
    ::signal(SIGALRM, SIG_DFL);
  }
  Interruptions(const Interruptions&) = delete;
  Interruptions& operator=(const Interruptions&) = delete;

 private:
  static void setTimer(long microseconds) {
    const timeval time{.tv_sec = 0, .tv_usec = microseconds};
    const itimerval timer{.it_interval = time, .it_value = time};
    ::setitimer(ITIMER_REAL, &timer, nullptr);
  }
};

/// More than a pipe holds.
const std::string content(300'000, 'x');

TEST(DescriptorIo, GoesOnAfterSignals) {
  const Interruptions interruptions;
  for (const bool isBlocking : {true, false}) {
    Pipe pipe = makePipe();
    ASSERT_TRUE(isBlocking || makeNonBlocking(pipe.writeEnd.get()));
    std::jthread writer([&pipe] {
      EXPECT_TRUE(writeAll(pipe.writeEnd.get(), content));
      pipe.writeEnd.reset();
    });
    std::string read(content.size() + 10, '\0');
    EXPECT_EQ(readFully(pipe.readEnd.get(), std::span(read).first(7)), 7U);
    EXPECT_EQ(readFully(pipe.readEnd.get(), std::span(read).subspan(7)), content.size() - 7);
    EXPECT_TRUE(read.starts_with(content)) << isBlocking;
    EXPECT_EQ(readSome(pipe.readEnd.get(), read), 0U) << "the end";
  }
  const Pipe silent = makePipe();
  pollfd request{.fd = silent.readEnd.get(), .events = POLLIN, .revents = 0};
  const Deadline deadline(std::chrono::milliseconds(20));
  EXPECT_FALSE(pollUntil({&request, 1}, deadline));
  EXPECT_TRUE(deadline.isOver()) << "not given up before";
  ASSERT_TRUE(writeAll(silent.writeEnd.get(), "x"));
  EXPECT_TRUE(pollUntil({&request, 1}, Deadline::never()));
}

TEST(DescriptorIo, ReadsToTheEndWithinTheLimit) {
  const struct {
    std::size_t written;
    std::size_t expected;
    std::size_t limit;
    bool isRead;
  } rows[] = {
      {0, 0, 0, true},        {1, 0, 0, false},        {100, 100, 100, true},
      {101, 100, 100, false}, {5000, 0, 5000, true},   {5001, 0, 5000, false},
      {10, 5000, 9000, true}, {10, 5000, 4999, false}, {60'000, 1, 1 << 20, true},
  };
  for (const auto& row : rows) {
    Pipe pipe = makePipe();
    ASSERT_TRUE(writeAll(pipe.writeEnd.get(), content.substr(0, row.written)));
    pipe.writeEnd.reset();
    const auto read = readUntilEnd(pipe.readEnd.get(), row.expected, row.limit);
    ASSERT_EQ(static_cast<bool>(read), row.isRead) << row.written << " of " << row.limit;
    if (row.isRead) {
      EXPECT_EQ(*read, content.substr(0, row.written)) << row.written << " of " << row.limit;
    } else {
      EXPECT_EQ(read.error(), FileError::tooLarge) << row.written << " of " << row.limit;
    }
  }
  EXPECT_EQ(readUntilEnd(-1, 10, 10).error(), FileError::failed);
}

}  // namespace
}  // namespace quelto::platform
