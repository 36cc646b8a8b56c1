#include "launcher/ssh_run.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "launcher/forwarding_signal.h"
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

}  // namespace
}  // namespace quelto::launcher
