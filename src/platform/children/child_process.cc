#include "platform/children/child_process.h"

#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include "platform/children/child_options.h"
#include "platform/files/unique_fd.h"
#include "platform/signals/signals.h"

namespace quelto::platform {
namespace {

bool holdsNul(const std::string& text) { return text.find('\0') != std::string::npos; }

/// The child would silently get only what precedes a NUL.
bool canBePassed(const ChildOptions& options) {
  return !holdsNul(options.program) && std::ranges::none_of(options.arguments, holdsNul) &&
         std::ranges::none_of(options.environment, holdsNul);
}

void appendPointers(std::vector<char*>& pointers, const std::vector<std::string>& words) {
  // The child gets copies; the C interface lacks a const.
  for (const std::string& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
}

class SpawnAttributes {
 public:
  explicit SpawnAttributes(const ChildSignals& signals) {
    ::posix_spawnattr_init(&attributes_);
    ::posix_spawnattr_setsigmask(&attributes_, &signals.blocked());
    ::posix_spawnattr_setsigdefault(&attributes_, &signals.resetToDefault());
    ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes_); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  [[nodiscard]] const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

class SpawnFileActions {
 public:
  explicit SpawnFileActions(const std::vector<DescriptorMapping>& descriptors) {
    ::posix_spawn_file_actions_init(&actions_);
    int highest = STDERR_FILENO;
    for (const auto& [ours, theirs] : descriptors) {
      ::posix_spawn_file_actions_adddup2(&actions_, ours, theirs);
      highest = std::max(highest, theirs);
    }
    // SECURITY: without this every descriptor that our caller leaked to us stays open in ssh for hours.
    ::posix_spawn_file_actions_addclosefrom_np(&actions_, highest + 1);
  }
  ~SpawnFileActions() { ::posix_spawn_file_actions_destroy(&actions_); }
  SpawnFileActions(const SpawnFileActions&) = delete;
  SpawnFileActions& operator=(const SpawnFileActions&) = delete;
  [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

}  // namespace

bool ChildProcess::launch(const ChildOptions& options) {
  if (!canBePassed(options)) return false;
  std::vector<char*> arguments{const_cast<char*>(options.program.c_str())};
  appendPointers(arguments, options.arguments);
  std::vector<char*> environment;
  appendPointers(environment, options.environment);

  const ChildSignals signals;
  const SpawnAttributes attributes(signals);
  const SpawnFileActions actions(options.descriptors);
  pid_t id = 0;
  if (::posix_spawn(&id, options.program.c_str(), actions.get(), attributes.get(), arguments.data(),
                    environment.data()) != 0) {
    return false;
  }
  id_ = id;
  reachableId_.store(id);
  return true;
}

void ChildProcess::waitForEnd() const {
  siginfo_t info{};
  // Not reaped, so that its id stays taken.
  while (::waitid(P_PID, static_cast<id_t>(id_), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
  }
}

int ChildProcess::waitUntilExit() {
  waitForEnd();
  reachableId_.store(0);
  while (callersInTerminate_.load() != 0) ::sched_yield();
  int status = 0;
  while (::waitpid(id_, &status, 0) == -1 && errno == EINTR) {
  }
  return terminationStatusOf(status);
}

void ChildProcess::kill() const { ::kill(id_, SIGKILL); }

UniqueFd ChildProcess::exitDescriptor() const {
  // The C library's pidfd_open has C++ linkage by mistake in some versions, and then cannot be linked.
  return UniqueFd(static_cast<int>(::syscall(SYS_pidfd_open, id_, 0)));
}

int terminationStatusOf(int waitStatus) {
  return WIFSIGNALED(waitStatus) ? WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
}

}  // namespace quelto::platform
