#include "platform/threads/semaphore.h"

#include <gtest/gtest.h>

#include <thread>

namespace quelto::platform {
namespace {

TEST(SemaphoreTest, CountsAndGivesUp) {
  Semaphore semaphore(1);
  EXPECT_TRUE(semaphore.waitFor(std::chrono::seconds(60)));
  EXPECT_FALSE(semaphore.waitFor(std::chrono::milliseconds(1)));
  std::jthread worker([&semaphore] { semaphore.signal(); });
  EXPECT_TRUE(semaphore.waitFor(std::chrono::seconds(60)));
  EXPECT_FALSE(semaphore.waitFor(std::chrono::milliseconds(0)));
}

}  // namespace
}  // namespace quelto::platform
