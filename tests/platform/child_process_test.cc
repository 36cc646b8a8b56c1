#include "platform/child_process.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <thread>

#include "platform/captured_run.h"
#include "platform/child_options.h"
#include "platform/semaphore.h"

namespace quelto::platform {
namespace {

ChildOptions shell(std::string script) {
  return {.program = "/bin/sh", .arguments = {"-c", std::move(script)}, .environment = {}};
}

TEST(ChildProcessTest, MapsTheWaitStatus) {
  // The kernel's encoding: the exit status in the second byte; the signal in the low seven bits, with 0x80
  // for a core.
  EXPECT_EQ(terminationStatusOf(0), 0);
  EXPECT_EQ(terminationStatusOf(1 << 8), 1);
  EXPECT_EQ(terminationStatusOf(255 << 8), 255);
  EXPECT_EQ(terminationStatusOf(SIGTERM), 15);
  EXPECT_EQ(terminationStatusOf(SIGSEGV | 0x80), 11);
}

TEST(ChildProcessTest, EndsWithStatusOrSignal) {
  struct Row {
    const char* script;
    int status;
  };
  for (const Row& row : {Row{"exit 0", 0}, Row{"exit 7", 7}, Row{"kill -KILL $$", 9}}) {
    ChildProcess child;
    ASSERT_TRUE(child.launch(shell(row.script)));
    EXPECT_EQ(child.waitUntilExit(), row.status) << row.script;
  }
}

TEST(ChildProcessTest, RefusesWhatCannotBeStarted) {
  ChildProcess child;
  EXPECT_FALSE(child.launch({.program = "/nonexistent", .arguments = {}, .environment = {}}));
  EXPECT_FALSE(child.launch({.program = "sh", .arguments = {}, .environment = {}})) << "no search along PATH";
  EXPECT_FALSE(child.launch(shell(std::string("exit 0\0", 7)))) << "a NUL would cut the word";
  EXPECT_FALSE(
      child.launch({.program = "/bin/true", .arguments = {}, .environment = {std::string("A=\0", 3)}}));
  child.terminate();
}

TEST(ChildProcessTest, TerminateReachesTheRunningChildFromAnyThread) {
  for (int round = 0; round < 50; ++round) {
    ChildProcess child;
    ASSERT_TRUE(child.launch({.program = "/bin/sleep", .arguments = {"60"}, .environment = {}}));
    std::jthread first([&child] { child.terminate(); });
    std::jthread second([&child] { child.terminate(); });
    EXPECT_EQ(child.waitUntilExit(), SIGTERM);
    child.terminate();
  }
}

TEST(ChildProcessTest, TerminateKeepsErrno) {
  ChildProcess child;
  ASSERT_TRUE(child.launch({.program = "/bin/true", .arguments = {}, .environment = {}}));
  errno = ENOTTY;
  child.terminate();
  EXPECT_EQ(errno, ENOTTY);
  (void)child.waitUntilExit();
}

TEST(SemaphoreTest, CountsAndGivesUp) {
  Semaphore semaphore(1);
  EXPECT_TRUE(semaphore.waitFor(std::chrono::seconds(60)));
  EXPECT_FALSE(semaphore.waitFor(std::chrono::milliseconds(1)));
  std::jthread worker([&semaphore] { semaphore.signal(); });
  EXPECT_TRUE(semaphore.waitFor(std::chrono::seconds(60)));
  EXPECT_FALSE(semaphore.waitFor(std::chrono::milliseconds(0)));
}

TEST(CapturedRunTest, TakesWhatTheChildWroteUntilItsEnd) {
  struct Row {
    const char* script;
    std::optional<std::string> output;
  };
  const Row rows[] = {
      {"printf 'a\\n'; printf b", "a\nb"},
      {"printf %s $0", "/bin/sh"},
      {"echo late >/dev/null; exec >&-; exit 0", ""},
      {"printf x; sleep 600 & echo $!", std::nullopt},
      {"yes | head -c 5000000", std::nullopt},
  };
  for (const Row& row : rows) {
    auto options = shell(row.script);
    options.environment = {"PATH=/usr/bin:/bin"};
    CapturedRun run;
    ASSERT_TRUE(run.start(options));
    const auto [status, output] = run.finish(100);
    EXPECT_EQ(status, 0);
    if (std::string_view(row.script).starts_with("printf x")) {
      ASSERT_TRUE(output && output->starts_with('x'));
      ::kill(std::stoi(output->substr(1)), SIGKILL);
    } else {
      EXPECT_EQ(output, row.output) << row.script;
    }
  }
  EXPECT_FALSE(CapturedRun().start({.program = "", .arguments = {}, .environment = {}}));
}

}  // namespace
}  // namespace quelto::platform
