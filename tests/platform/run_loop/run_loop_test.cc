#include "platform/run_loop/run_loop.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "platform/files/descriptors.h"

namespace quelto::platform {
namespace {

using namespace std::chrono_literals;

/// A pipe that can be read at once.
struct Ready {
  Ready(RunLoop& loop, const std::function<void()>& then) {
    EXPECT_EQ(::write(pipe.writeEnd.get(), "x", 1), 1);
    source = loop.add(pipe.readEnd.get(), [this, then] { ++calls, then(); });
  }
  Pipe pipe = makePipe();
  int calls = 0;
  std::unique_ptr<RunLoop::Source> source;
};

TEST(RunLoop, CallsWhatIsReadyUnlessPausedOrTakenOutInTheSameRound) {
  const auto opened = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
  const auto loop = std::make_shared<RunLoop>();
  const Pipe quiet = makePipe();
  std::unique_ptr<Ready> ready[2];
  std::unique_ptr<RunLoop::Source> successor;
  const auto before = opened();
  for (auto& mine : ready) {
    mine = std::make_unique<Ready>(*loop, [&] {
      auto& other = &mine == ready ? ready[1] : ready[0];
      const int number = other->pipe.readEnd.get();
      other->source.reset();
      ASSERT_EQ(::dup2(quiet.readEnd.get(), number), number);
      successor = loop->add(number, [] { ADD_FAILURE() << "called for its number's last owner"; });
      mine->source.reset();
    });
    mine->source->pause();
  }
  EXPECT_EQ(opened(), before + 4) << "a loop that has not run";
  EXPECT_TRUE(loop->runUntil(Deadline(0ms)));
  EXPECT_EQ(ready[0]->calls + ready[1]->calls, 0);
  for (auto& mine : ready) mine->source->resume();
  std::unique_ptr<Ready> pausing[2];
  for (auto& mine : pausing) {
    mine = std::make_unique<Ready>(*loop, [&] {
      for (auto& each : pausing) each->source->pause();
    });
  }
  const Ready last(*loop, [&] { loop->stop(); });
  EXPECT_TRUE(loop->runUntil(Deadline::never()));
  EXPECT_TRUE(loop->runUntil(Deadline(0ms)));
  EXPECT_EQ(last.calls, 2);
  EXPECT_EQ(ready[0]->calls + ready[1]->calls, 1);
  EXPECT_EQ(pausing[0]->calls + pausing[1]->calls, 1);
  const Ready other(*loop, [&] { loop->stop(); });
  EXPECT_TRUE(loop->runUntil(Deadline::never()));
  EXPECT_EQ(last.calls + other.calls, 3) << "after a stop";
}

}  // namespace
}  // namespace quelto::platform
