#include "launcher/ssh_run.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "launcher/forwarding_signal.h"
#include "tests/support/temporary_folder.h"

namespace quelto::launcher {
namespace {

TEST(RunSsh, WaitsForBackgroundWorkAndLeavesTheSignalsAtTheirDefault) {
  const test::TemporaryFolder folder;
  platform::Semaphore finish(0);
  std::atomic<bool> isDone = false;
  std::jthread worker([&] {
    struct sigaction action {};
    do {
      ::sigaction(SIGTERM, nullptr, &action);
    } while (action.sa_handler != signalReceived);
    folder.write("go", "");
    do {
      ::sigaction(SIGINT, nullptr, &action);
    } while (action.sa_handler != SIG_DFL);
    isDone = true;
    finish.signal();
  });
  const std::string waitAndEnd = "until [ -e " + folder.path("go") + " ]; do :; done; exit 7";
  EXPECT_EQ(runSsh({.program = "/bin/sh", .arguments = {"-c", waitAndEnd}, .environment = {}}, finish), 7);
  EXPECT_TRUE(isDone);
}

TEST(RunSsh, WaitsForBackgroundWorkWhenSshCannotBeStarted) {
  platform::Semaphore finish(1);
  EXPECT_EQ(runSsh({.program = "/nonexistent/ssh", .arguments = {}, .environment = {}}, finish),
            std::nullopt);
  EXPECT_FALSE(finish.waitFor(std::chrono::seconds(0))) << "the one count was not waited for";
}

}  // namespace
}  // namespace quelto::launcher
