#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/files/descriptors.h"

/// Processes that tests start beside themselves.
namespace quelto::test {

/// What a shell command prints; it has 60 seconds. `status` is its exit status.
struct Printed {
  int status;
  std::string text;
};
[[nodiscard]] Printed shell(const std::string& command);

/// A process that ends with what the function returns.
[[nodiscard]] pid_t inChild(const std::function<int()>& run);

/// Waits for a child's end. A signal that ended it is given as its negative number.
[[nodiscard]] int exitStatusOf(pid_t child);

/// Processes that are started one by one, begin at once, and end with what their functions return.
class Children {
 public:
  void add(const std::function<int()>& run);
  /// Lets them begin and waits for their ends, in the same order.
  [[nodiscard]] std::vector<int> exitStatuses();

 private:
  platform::Pipe start_ = platform::makePipe();
  std::vector<pid_t> ids_;
};

/// Counts the bytes that come until all who could write have closed their end.
[[nodiscard]] std::size_t countUntilEnd(const platform::UniqueFd& reader);

/// A program beside the test, in this process's environment, that is ended with the object.
class Companion {
 public:
  /// Runs a shell command, which begins with "exec". With `announces` its first line on descriptor 3 is
  /// waited for.
  enum class Speech { none, announces };
  explicit Companion(const std::string& command, Speech speech = Speech::none);
  ~Companion();
  Companion(const Companion&) = delete;
  Companion& operator=(const Companion&) = delete;

  [[nodiscard]] const std::string& announcement() const { return announcement_; }
  void signal(int number) const;

 private:
  pid_t id_ = -1;
  std::string announcement_;
};

}  // namespace quelto::test
