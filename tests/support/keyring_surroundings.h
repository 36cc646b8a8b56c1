#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "tests/support/processes.h"
#include "tests/support/temporary_folder.h"

namespace quelto::test {

/// A session of its own: home, runtime folder and bus, which this process's environment names as long as the
/// object lives. Whatever was started in it, by the bus too, is killed at its end.
class KeyringSurroundings {
 public:
  struct Around {
    /// A display, on which the keyring's dialogs appear.
    bool display = false;
    /// The bus starts the keyring when that is asked for.
    bool activation = false;
    /// Which names the bus gives out.
    std::string names = "*";
  };
  KeyringSurroundings() : KeyringSurroundings(Around{}) {}
  explicit KeyringSurroundings(const Around& around);
  ~KeyringSurroundings();
  KeyringSurroundings(const KeyringSurroundings&) = delete;
  KeyringSurroundings& operator=(const KeyringSurroundings&) = delete;

  /// Starts the real daemon, in the place of one that runs, and waits until it serves. Unlocked, the first
  /// time, it makes the default collection, whose password is "test".
  enum class Collection { unlocked, asItIs };
  void startKeyring(Collection collection = Collection::unlocked);
  void stopKeyring();
  /// The program that the bus would start is missing.
  void breakActivation() const;
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
