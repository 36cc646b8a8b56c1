#include "platform/children/child_process.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <thread>

#include "platform/children/child_options.h"

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

}  // namespace
}  // namespace quelto::platform
