#include "programs/collector/collector.h"

#include <limits.h>
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

#include "crash/crash_server.h"
#include "crash/crash_socket.h"
#include "platform/files/descriptor_io.h"
#include "platform/files/descriptors.h"
#include "platform/run_loop/run_loop.h"
#include "programs/collector/stop_signals.h"
#include "util/suite.h"

namespace quelto::collector {
namespace {

using platform::Deadline;
using platform::FileError;

/// Until the system is asked again for what the run loop needs.
constexpr std::chrono::seconds pauseOfLoop{1};
constexpr std::chrono::milliseconds timeForTheRest{50};

/// A short line. It is lost when the reader has stopped reading, which must not stop us.
void writeLine(int output, const std::string& line) {
  pollfd request{.fd = output, .events = POLLOUT, .revents = 0};
  if (platform::pollUntil({&request, 1}, Deadline(std::chrono::milliseconds(0))))
    static_cast<void>(platform::writeAll(output, line + "\n"));
}

void say(const std::string& text) { writeLine(STDERR_FILENO, "quelto-collector: " + text); }

void sayCannotKeep(const ReportStore& store, FileError error) {
  const char* const reason = error == FileError::refused
                                 ? "it is not a folder of yours alone (mode 0700), or cannot be made"
                                 : "the disk is full or failing, or may not be written";
  say("cannot keep a report in " + store.folder() + ": " + reason);
}

/// Every client holds a descriptor for as long as it lives.
void allowManyDescriptors() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

int Collector::run() {
  if (!prepare()) return 1;
  serve();
  return status_;
}

bool Collector::prepare() {
  // A reader that is gone, and a limit on the size of files, are errors of a write.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
  allowManyDescriptors();
  stopSignals_ = openStopSignals();
  for (auto& spare : spareDescriptors_) spare = platform::openNullDevice();
  if (output_ == Output::printed) return true;
  const auto folder = ReportStore::folderOfUser();
  if (!folder) {
    say("there is no home folder to keep reports in");
    return false;
  }
  store_ = ReportStore(*folder);
  const auto obstacle = store_.obstacle();
  if (obstacle) sayCannotKeep(store_, *obstacle);
  // The disk may have room again by then.
  return obstacle != FileError::refused;
}

void Collector::serve() {
  const auto loop = platform::RunLoop::current();
  auto stopSource = loop->add(stopSignals_.get(), [&] {
    isStopping_ = true;
    loop->stop();
  });
  crash::CrashServer server(
      util::builtInGroupId, crash::socketGroupSuffix, crash::socketFileName,
      [this](const auto& date, const auto& source, const auto& version, const auto& report) {
        received({.date = date, .source = source, .version = version, .report = report});
      });
  if (!server.isRunning()) {
    say(server.isTaken() ? "another collector is running"
                         : "there is no folder of yours alone for the socket");
    status_ = 1;
    return;
  }
  while (!isStopping_) {
    if (!loop->runUntil(server.nextDeadline())) isStopping_ = isAskedToStop(Deadline(pauseOfLoop));
    server.tick();
  }
  // What was sent before the signal may not have been read.
  stopSource.reset();
  const Deadline end(timeForTheRest);
  while (!end.isOver() && loop->runUntil(end)) continue;
  server.stop();
}

bool Collector::isAskedToStop(const Deadline& deadline) const {
  pollfd signals{.fd = stopSignals_.get(), .events = POLLIN, .revents = 0};
  return platform::pollUntil({&signals, 1}, deadline);
}

void Collector::received(const Report& report) {
  const std::string text = readableText(report);
  if (output_ == Output::keptInFiles) {
    keep(text);
  } else {
    print(text + "\n");
  }
}

void Collector::keep(const std::string& text) {
  for (auto& spare : spareDescriptors_) spare.reset();
  const auto path = store_.save(text);
  for (auto& spare : spareDescriptors_) spare = platform::openNullDevice();
  if (!path) {
    sayCannotKeep(store_, path.error());
    return;
  }
  writeLine(STDOUT_FILENO, *path);
}

void Collector::print(std::string_view text) {
  while (!text.empty() && status_ == 0) {
    std::array<pollfd, 2> requests{pollfd{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0},
                                   pollfd{.fd = stopSignals_.get(), .events = POLLIN, .revents = 0}};
    const bool isReady = platform::pollUntil(requests, Deadline::never()) && requests[0].revents != 0;
    // Asked to stop while nobody reads.
    if (!isReady) return;
    // A pipe that is ready takes so much without waiting.
    const auto written = platform::writeSome(STDOUT_FILENO, text.substr(0, PIPE_BUF));
    if (!written) {
      say("cannot print a report");
      status_ = 1;
      isStopping_ = true;
      platform::RunLoop::current()->stop();
      return;
    }
    text.remove_prefix(*written);
  }
}

}  // namespace quelto::collector
