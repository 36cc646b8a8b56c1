#include "platform/threads/deadline.h"

#include <gtest/gtest.h>

namespace quelto::platform {
namespace {

using std::chrono::milliseconds;

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
