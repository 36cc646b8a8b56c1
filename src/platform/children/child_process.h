#pragma once

#include <sys/types.h>

#include <atomic>
#include <type_traits>

namespace quelto::platform {

struct ChildOptions;
class UniqueFd;

/// One child process. `launch` and `waitUntilExit` are for one thread; any thread and any signal handler may
/// call `terminate` at any time. Constant-initialised and trivially destroyed, so that a handler may use a
/// process-wide one.
class ChildProcess {
 public:
  constexpr ChildProcess() noexcept = default;
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Starts the program with the signal mask and dispositions of our own start and with the descriptors 0
  /// to 2 only. False when it cannot be started, which includes a program, argument or variable with a NUL.
  [[nodiscard]] bool launch(const ChildOptions& options);

  /// Waits for the end of the launched child, which stays to be waited for. Between `launch` and
  /// `waitUntilExit` only; on any thread.
  void waitForEnd() const;

  /// Waits for the end of the launched child and returns its termination status: the exit status, or the
  /// number of the signal that ended it. To be called exactly once after each successful launch.
  [[nodiscard]] int waitUntilExit();

  /// Ends the child at once, whatever it is doing. Between `launch` and `waitUntilExit` only.
  void kill() const;

  /// A descriptor that becomes readable when the launched child has ended; empty where the kernel has none.
  [[nodiscard]] UniqueFd exitDescriptor() const;

  /// Sends SIGTERM to the child while it runs; does nothing before and after. Keeps errno. Signal-safe.
  void terminate() noexcept;

 private:
  /// The id for `terminate`; 0 while no child runs.
  std::atomic<pid_t> reachableId_{0};
  std::atomic<int> callersInTerminate_{0};
  pid_t id_ = 0;
};

static_assert(std::atomic<pid_t>::is_always_lock_free && std::atomic<int>::is_always_lock_free,
              "a signal handler must not wait for a lock");
static_assert(std::is_trivially_destructible_v<ChildProcess>);

/// Maps the status that `waitpid` reports: the exit status, or the signal's number without the core bit.
[[nodiscard]] int terminationStatusOf(int waitStatus);

}  // namespace quelto::platform
