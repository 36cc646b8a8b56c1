/// What a crash report costs: the time from the signal to the whole report, beside the pauses that its
/// packets need, and what being ready for one adds to a start. Prints figures and judges none. With
/// "--set-up" it is the process that gets ready, and prints how long that took.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "bench/process_timing.h"
#include "crash/crash_packet.h"
#include "crash/crash_server.h"
#include "crash/crash_socket.h"
#include "launcher/crash_reports.h"
#include "platform/files/descriptor_io.h"
#include "platform/files/descriptors.h"
#include "platform/run_loop/run_loop.h"
#include "tests/support/temporary_folder.h"
#include "util/suite.h"

namespace quelto::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::string_view setUpMode = "--set-up";
constexpr int rounds = 100;
constexpr Microseconds pauseOfPacket = std::chrono::milliseconds(10);

void printSetUpTime() {
  const launcher::Program program = launcher::thisProgram();
  const auto begin = Clock::now();
  launcher::installCrashReports(program);
  std::printf("%.1f\n", Microseconds(Clock::now() - begin).count());
}

/// A child process whose output we read.
class Child {
 public:
  explicit Child(std::vector<std::string> words)
      : input_(platform::makePipe()), output_(platform::makePipe()) {
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input_.readEnd.get(), STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output_.writeEnd.get(), STDOUT_FILENO);
    const int error = ::posix_spawn(&id_, pointers[0], &actions, nullptr, pointers.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::runtime_error("cannot start " + words[0]);
    output_.writeEnd.reset();
  }

  std::string read() {
    std::array<char, 64> buffer{};
    const auto size = platform::readSome(output_.readEnd.get(), buffer);
    return {buffer.data(), size.value_or(0)};
  }

  void kill(int signal) const { ::kill(id_, signal); }

  int waitForStatus() {
    int status = 0;
    ::waitpid(id_, &status, 0);
    return status;
  }

 private:
  platform::Pipe input_;
  platform::Pipe output_;
  pid_t id_ = 0;
};

void print(const char* name, const Timing& timing) {
  std::printf("  %-44s %9.0f %9.0f %9.0f\n", name, timing.median.count(), timing.p10.count(),
              timing.p90.count());
}

void benchSetUp(const char* name) {
  std::vector<Microseconds> times;
  for (int round = 0; round < rounds; ++round) {
    Child child({"/proc/self/exe", std::string(setUpMode)});
    times.emplace_back(std::stod(child.read()));
    (void)child.waitForStatus();
  }
  print(name, timingOf(times));
}

crash::CrashServer serverOf(crash::CrashServer::CrashReceived received) {
  return {util::builtInGroupId, crash::socketGroupSuffix, crash::socketFileName, std::move(received)};
}

void benchReports() {
  std::size_t length = 0;
  const auto loop = platform::RunLoop::current();
  crash::CrashServer server =
      serverOf([&](const auto& date, const auto& source, const auto& version, const auto& report) {
        length = date.size() + source.size() + version.size() + report.size() + 3;
        loop->stop();
      });
  std::vector<Microseconds> times;
  std::vector<Microseconds> ends;
  for (int round = 0; round < rounds; ++round) {
    Child tool({TOOL, "-l", "alice", "host"});
    if (tool.read() != ".") throw std::runtime_error("ssh was not started");
    length = 0;
    const auto begin = Clock::now();
    tool.kill(SIGSEGV);
    while (length == 0 && loop->runUntil(server.nextDeadline())) server.tick();
    times.emplace_back(Clock::now() - begin);
    const int status = tool.waitForStatus();
    ends.emplace_back(Clock::now() - begin);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != SIGSEGV) throw std::runtime_error("another end");
  }
  const std::size_t packets = (length + crash::chunkLength - 1) / crash::chunkLength;
  std::printf("\nA report of %zu bytes, %zu packets: microseconds\n", length, packets);
  const Microseconds floor = pauseOfPacket * packets;
  print("pauses of its packets", {floor, floor, floor});
  print("from the signal to the report", timingOf(times));
  print("from the signal to the end of the tool", timingOf(ends));
}

void run() {
  const test::TemporaryFolder folder;
  ::setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1);
  ::setenv("AUTH_KEYCHAIN", folder.path("marker").c_str(), 1);
  ::setenv("SSH_ORIGINAL", WAITING_SSH, 1);
  ::setenv("SHELL", TRIVIAL_LOGIN_SHELL, 1);
  std::printf("\nReady for a crash: microseconds                 median       p10       p90\n");
  benchSetUp("no collector");
  {
    const auto server = serverOf({});
    benchSetUp("a collector");
  }
  benchReports();
}

}  // namespace
}  // namespace quelto::bench

int main(int argumentCount, char** arguments) {
  using namespace quelto::bench;
  try {
    if (argumentCount == 2 && arguments[1] == setUpMode) {
      printSetUpTime();
      return 0;
    }
    run();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "crash_bench: %s\n", error.what());
    return 1;
  }
}
