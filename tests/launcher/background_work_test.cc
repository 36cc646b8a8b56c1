#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "launcher/forwarding_signal.h"
#include "launcher/look_up.h"
#include "launcher/ssh_run.h"
#include "tests/support/process_surroundings.h"
#include "tests/support/temporary_folder.h"

namespace quelto::launcher {
namespace {

void waitForHandler(int number, void (*handler)(int)) {
  struct sigaction action {};
  do {
    ::sigaction(number, nullptr, &action);
  } while (action.sa_handler != handler);
}

TEST(RunSsh, WaitsForBackgroundWorkAndLeavesTheSignalsAtTheirDefault) {
  const test::TemporaryFolder folder;
  platform::Semaphore finish(0);
  std::atomic<bool> isDone = false;
  std::jthread worker([&] {
    waitForHandler(SIGTERM, signalReceived);
    folder.write("go", "");
    waitForHandler(SIGINT, SIG_DFL);
    isDone = true;
    finish.signal();
  });
  const std::string waitAndEnd = "until [ -e " + folder.path("go") + " ]; do :; done; exit 7";
  EXPECT_EQ(runSsh({.program = "/bin/sh", .arguments = {"-c", waitAndEnd}, .environment = {}}, finish), 7);
  EXPECT_TRUE(isDone);
  finish.signal();
  EXPECT_EQ(runSsh({.program = "/nonexistent/ssh", .arguments = {}, .environment = {}}, finish),
            std::nullopt);
  EXPECT_FALSE(finish.waitFor(std::chrono::seconds(0))) << "that of a failed start was not waited for";
}

/// Look-ups that end about when their limit does.
TEST(LookUp, IsHandedOverOrDroppedNeverBoth) {
  constexpr int rounds = 10'000;
  const test::OwnThreads threads;
  platform::Semaphore finish(0);
  int taken = 0;
  for (int round = 0; round < rounds; ++round) {
    const std::string name = std::to_string(round);
    const auto lookUp = [name, begin = std::chrono::steady_clock::now(), round] {
      std::this_thread::sleep_until(begin + std::chrono::microseconds(900 + round % 300));
      return name;
    };
    const std::string found = lookedUp(lookUp, std::chrono::milliseconds(1), finish);
    taken += found.empty() ? 0 : 1;
    ASSERT_TRUE(found.empty() || found == name) << found;
    ASSERT_FALSE(finish.waitFor(std::chrono::milliseconds(0))) << "a count too many";
  }
  EXPECT_TRUE(threads.haveEnded());
  EXPECT_FALSE(finish.waitFor(std::chrono::milliseconds(0))) << "a late one has signalled";
  EXPECT_GT(taken, 0);
  EXPECT_LT(taken, rounds);
}

}  // namespace
}  // namespace quelto::launcher
