#include "tests/support/processes.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>

namespace quelto::test {
namespace {

int exitStatusIn(int waitStatus) {
  return WIFSIGNALED(waitStatus) ? -WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
}

}  // namespace

Printed shell(const std::string& command) {
  std::FILE* const output =
      ::popen(("exec 2>&1; unset G_MESSAGES_DEBUG G_DBUS_DEBUG; timeout 60 " + command).c_str(), "re");
  if (output == nullptr) throw std::runtime_error(command);
  Printed printed{};
  for (int character = 0; (character = std::fgetc(output)) != EOF;)
    printed.text += static_cast<char>(character);
  printed.status = exitStatusIn(::pclose(output));
  return printed;
}

pid_t inChild(const std::function<int()>& run) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(run());
  return child;
}

int exitStatusOf(pid_t child) {
  int status = -1;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
  return exitStatusIn(status);
}

void Children::add(const std::function<int()>& run) {
  ids_.push_back(inChild([&] {
    start_.writeEnd.reset();
    (void)countUntilEnd(start_.readEnd);
    return run();
  }));
}

std::vector<int> Children::exitStatuses() {
  start_.writeEnd.reset();
  std::vector<int> statuses;
  for (const pid_t id : ids_) statuses.push_back(exitStatusOf(id));
  return statuses;
}

std::size_t countUntilEnd(const platform::UniqueFd& reader) {
  std::size_t count = 0;
  for (char byte = 0; ::read(reader.get(), &byte, 1) == 1;) ++count;
  return count;
}

Companion::Companion(const std::string& command, Speech speech) {
  platform::Pipe line = platform::makePipe();
  id_ = inChild([&] {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (speech == Speech::announces) ::dup2(line.writeEnd.get(), 3);
    ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    return 127;
  });
  line.writeEnd.reset();
  char character = '\n';
  while (speech == Speech::announces && ::read(line.readEnd.get(), &character, 1) == 1 && character != '\n')
    announcement_ += character;
  if (id_ < 0 || character != '\n') throw std::runtime_error(command);
}

Companion::~Companion() {
  constexpr int limit = 5000;
  // Asked first: a display that is killed leaves its socket behind.
  ::kill(id_, SIGTERM);
  ::kill(id_, SIGCONT);
  const platform::UniqueFd end(static_cast<int>(::syscall(SYS_pidfd_open, id_, 0)));
  pollfd ended{.fd = end.get(), .events = POLLIN, .revents = 0};
  ::poll(&ended, 1, limit);
  ::kill(id_, SIGKILL);
  (void)exitStatusOf(id_);
}

void Companion::signal(int number) const { ::kill(id_, number); }

}  // namespace quelto::test
