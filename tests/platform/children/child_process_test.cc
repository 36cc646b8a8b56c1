#include "platform/children/child_process.h"

#include <gtest/gtest.h>

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
  for (const auto& [waitStatus, status] :
       {std::pair{0, 0}, {1 << 8, 1}, {255 << 8, 255}, {SIGTERM, 15}, {SIGSEGV | 0x80, 11}})
    EXPECT_EQ(terminationStatusOf(waitStatus), status);
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

TEST(ChildProcessTest, TellsTheStatusOfTheChildWhoseFirstWordIsItsPath) {
  ChildProcess child;
  ASSERT_TRUE(child.launch(shell("[ $0 = /bin/sh ] && exit 7")));
  EXPECT_EQ(child.waitUntilExit(), 7);
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

}  // namespace
}  // namespace quelto::platform
