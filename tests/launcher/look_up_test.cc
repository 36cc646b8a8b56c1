#include "launcher/look_up.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/support/process_surroundings.h"

namespace quelto::launcher {
namespace {

using std::chrono::milliseconds;

TEST(LookUp, TakesWhatComesInTime) {
  platform::Semaphore finish(0);
  EXPECT_EQ(lookedUp([] { return "alice"; }, std::chrono::seconds(60), finish), "alice");
  platform::Semaphore end(0);
  const auto late = [&end] {
    end.wait();
    return std::string("bob");
  };
  EXPECT_EQ(lookedUp(late, milliseconds(1), finish), "");
  end.signal();
  EXPECT_FALSE(finish.waitFor(milliseconds(100))) << "nobody waits any more";
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
    const std::string found = lookedUp(lookUp, milliseconds(1), finish);
    taken += found.empty() ? 0 : 1;
    ASSERT_TRUE(found.empty() || found == name) << found;
    ASSERT_FALSE(finish.waitFor(milliseconds(0))) << "a count too many";
  }
  EXPECT_TRUE(threads.haveEnded());
  EXPECT_FALSE(finish.waitFor(milliseconds(0))) << "a late one has signalled";
  EXPECT_GT(taken, 0);
  EXPECT_LT(taken, rounds);
}

}  // namespace
}  // namespace quelto::launcher
