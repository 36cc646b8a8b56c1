#include "bench/process_timing.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace quelto::bench {
namespace {

/// Enough for the page cache and the processor's frequency to settle.
constexpr int warmUpRounds = 20;

/// Far above any run.
constexpr unsigned secondsUntilGivingUp = 60;

/// Lets the alarm interrupt a wait instead of ending this process.
void takeAlarms() {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  ::sigaction(SIGALRM, &action, nullptr);
}

/// A child's standard streams, all on the null device.
class NullStreams {
 public:
  NullStreams() {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDWR, 0);
    ::posix_spawn_file_actions_adddup2(&actions_, STDIN_FILENO, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions_, STDIN_FILENO, STDERR_FILENO);
  }
  ~NullStreams() { ::posix_spawn_file_actions_destroy(&actions_); }
  NullStreams(const NullStreams&) = delete;
  NullStreams& operator=(const NullStreams&) = delete;
  [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

void printRow(const std::string& name, const Timing& timing, const Timing& floor) {
  std::printf("  %-34s %9.0f %9.0f %9.0f %+9.0f %8.2f\n", name.c_str(), timing.median.count(),
              timing.p10.count(), timing.p90.count(), (timing.median - floor.median).count(),
              timing.median / floor.median);
}

/// A command in the form that the system takes, made before the clock runs.
class ReadyCommand {
 public:
  explicit ReadyCommand(const Command& command)
      : name_(command.name),
        words_(pointersTo(command.words)),
        environment_(pointersTo(command.environment)) {}

  [[nodiscard]] Microseconds run() const {
    ::alarm(secondsUntilGivingUp);
    const auto begin = std::chrono::steady_clock::now();
    pid_t id = 0;
    if (::posix_spawn(&id, words_[0], streams_.get(), nullptr, words_.data(), environment_.data()) != 0) {
      throw std::runtime_error(name_ + ": cannot be started");
    }
    int status = 0;
    const bool ended = ::waitpid(id, &status, 0) == id;
    const auto end = std::chrono::steady_clock::now();
    ::alarm(0);
    if (!ended) {
      ::kill(id, SIGKILL);
      ::waitpid(id, &status, 0);
      throw std::runtime_error(name_ + ": did not end");
    }
    if (status != 0) throw std::runtime_error(name_ + ": failed");
    return end - begin;
  }

 private:
  /// The child gets copies; the C interface merely lacks a const.
  static std::vector<char*> pointersTo(const std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (const std::string& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
    pointers.push_back(nullptr);
    return pointers;
  }

  NullStreams streams_;
  std::string name_;
  std::vector<char*> words_;
  std::vector<char*> environment_;
};

}  // namespace

Timing timingOf(std::vector<Microseconds> times) {
  std::ranges::sort(times);
  const auto at = [&times](std::size_t percent) { return times[(times.size() - 1) * percent / 100]; };
  return {.median = at(50), .p10 = at(10), .p90 = at(90)};
}

Microseconds runOnce(const Command& command) {
  takeAlarms();
  return ReadyCommand(command).run();
}

std::vector<Timing> timeInTurn(const std::vector<Command>& commands, int rounds) {
  takeAlarms();
  const std::vector<ReadyCommand> ready(commands.begin(), commands.end());
  std::vector<std::vector<Microseconds>> times(commands.size());
  for (int round = -warmUpRounds; round < rounds; ++round) {
    for (std::size_t index = 0; index < ready.size(); ++index) {
      const Microseconds time = ready[index].run();
      if (round >= 0) times[index].push_back(time);
    }
  }
  std::vector<Timing> timings;
  for (auto& timesOfOne : times) timings.push_back(timingOf(std::move(timesOfOne)));
  return timings;
}

std::vector<Timing> compareInTurn(const std::string& title, const std::vector<Command>& commands,
                                  int rounds) {
  std::vector<Timing> timings = timeInTurn(commands, rounds);
  std::printf("\n%s, %d runs each, microseconds\n  %-34s %9s %9s %9s %9s %8s\n", title.c_str(), rounds, "",
              "median", "p10", "p90", "added", "ratio");
  for (std::size_t index = 0; index < timings.size(); ++index) {
    printRow(commands[index].name, timings[index], timings[0]);
  }
  return timings;
}

}  // namespace quelto::bench
