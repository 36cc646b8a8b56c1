#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "platform/threads/deadline.h"
#include "platform/threads/main_queue.h"
#include "platform/threads/semaphore.h"

namespace quelto::platform {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(SemaphoreTest, CountsAndGivesUp) {
  const auto test = [] {
    Semaphore semaphore(1);
    EXPECT_TRUE(semaphore.waitFor(seconds(60)));
    EXPECT_FALSE(semaphore.waitFor(milliseconds(1)));
    std::jthread worker([&semaphore] { semaphore.signal(); });
    EXPECT_TRUE(semaphore.waitFor(seconds(60)));
    EXPECT_FALSE(semaphore.waitFor(milliseconds(0)));
    worker = std::jthread([&semaphore] { semaphore.signal(); });
    semaphore.wait();
  };
  test();
  std::jthread beside(test);
}

TEST(MainQueue, IsServedWhileTheMainThreadWaits) {
  // The main thread waits for what a worker holds that waits for the main thread.
  Semaphore turn(1);
  Semaphore taken(0);
  std::string told;
  const auto tell = [&told](const char* text) {
    EXPECT_TRUE(isMainThread());
    told += text;
  };
  std::jthread worker([&] {
    EXPECT_FALSE(isMainThread());
    turn.wait();
    taken.signal();
    runOnMainThread([&] { tell("one "); });
    runOnMainThread([&] {
      tell("two ");
      runOnMainThread([&] { tell("nested "); });
    });
    told += "worker ";
    turn.signal();
  });
  taken.wait();
  turn.wait();
  runOnMainThread([&] { tell("main"); });
  EXPECT_EQ(told, "one two nested worker main");
}

TEST(MainQueue, TakesNoTimeFromTheLimitOfAWait) {
  Semaphore finish(0);
  Semaphore never(0);
  std::jthread worker([&] {
    runOnMainThread([&] { EXPECT_FALSE(never.waitFor(milliseconds(1500))); });
    std::this_thread::sleep_for(milliseconds(100));
    finish.signal();
  });
  EXPECT_TRUE(finish.waitFor(seconds(1))) << "only the time without tasks counts";
}

TEST(MainQueue, RunsTheTasksOfManyThreads) {
  constexpr int threads = 8;
  constexpr int tasks = 200;
  Semaphore done(0);
  int run = 0;
  std::vector<std::jthread> workers;
  for (int thread = 0; thread < threads; ++thread) {
    workers.emplace_back([&] {
      for (int task = 0; task < tasks; ++task) runOnMainThread([&run] { ++run; });
      done.signal();
    });
  }
  for (int thread = 0; thread < threads; ++thread) done.wait();
  EXPECT_EQ(run, threads * tasks);
}

TEST(Deadline, TellsWhatIsLeft) {
  const struct {
    const char* name;
    Deadline deadline;
    bool isOver;
    int leastTimeout;
    int mostTimeout;
  } rows[] = {
      {"never", Deadline::never(), false, -1, -1},
      {"far away", Deadline(std::chrono::hours(1)), false, 3'590'000, 3'600'000},
      {"beyond what poll can wait", Deadline(std::chrono::hours(24 * 365)), false, INT32_MAX, INT32_MAX},
      {"now", Deadline(milliseconds(0)), true, 0, 0},
      {"long ago", Deadline(milliseconds(-60'000)), true, 0, 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.deadline.isOver(), row.isOver) << row.name;
    EXPECT_EQ(row.deadline.pause(), !row.isOver) << row.name;
    EXPECT_GE(row.deadline.pollTimeout(), row.leastTimeout) << row.name;
    EXPECT_LE(row.deadline.pollTimeout(), row.mostTimeout) << row.name;
  }
}

TEST(Deadline, IsOverWhenNothingIsLeft) {
  // A part of a millisecond counts as one: a loop that waits for what is left must not spin.
  const Deadline deadline(milliseconds(3));
  while (deadline.timeLeft().count() > 0) continue;
  EXPECT_TRUE(deadline.isOver());
}

}  // namespace
}  // namespace quelto::platform
