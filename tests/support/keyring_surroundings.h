#pragma once

#include <sys/types.h>

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "tests/support/temporary_folder.h"

namespace quelto::test {

/// What a shell command prints on standard output; it has 20 seconds. `status` is 0 on success.
struct Printed {
  int status;
  std::string text;
};
[[nodiscard]] Printed shell(const std::string& command);

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

/// A session of its own: home, runtime folder and bus, which this process's environment names as long as the
/// object lives. Whatever was started in it, by the bus too, is killed at its end.
class KeyringSurroundings {
 public:
  /// What stands around the bus: a display, so that its prompts show, and whether it starts the keyring when
  /// that is asked for.
  struct Around {
    bool display = false;
    bool activation = false;
  };
  KeyringSurroundings() : KeyringSurroundings(Around{}) {}
  explicit KeyringSurroundings(Around around);
  ~KeyringSurroundings();
  KeyringSurroundings(const KeyringSurroundings&) = delete;
  KeyringSurroundings& operator=(const KeyringSurroundings&) = delete;

  /// Starts the real daemon, in the place of one that runs, and waits until it serves. Unlocked, the first
  /// time, it makes the default collection, whose password is "test".
  enum class Collection { unlocked, asItIs };
  void startKeyring(Collection collection = Collection::unlocked);
  void stopKeyring();
  void lockCollection() const;
  [[nodiscard]] Companion& keyring() { return *keyring_; }
  [[nodiscard]] Companion& bus() { return *bus_; }

  [[nodiscard]] std::string path(const std::string& name) const { return folder_.path(name); }
  /// Sets or removes a variable of this process, until the end.
  void set(const std::string& name, const std::optional<std::string>& value);

 private:
  TemporaryFolder folder_;
  std::map<std::string, std::optional<std::string>> before_;
  std::unique_ptr<Companion> display_;
  std::unique_ptr<Companion> bus_;
  std::unique_ptr<Companion> keyring_;
};

}  // namespace quelto::test
