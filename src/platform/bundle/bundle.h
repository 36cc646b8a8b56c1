#pragma once

#include <optional>
#include <string>

namespace quelto::platform {

/// The folder tree that the program is installed in. An ancestor folder named "Contents" makes it an
/// application folder, with its resources in "Contents/Resources" and its property list
/// "Contents/Info.plist"; otherwise the program's own folder holds both. Immutable; all calls are
/// thread-safe.
class Bundle {
 public:
  /// The bundle of an executable, given by its absolute path. With an empty path, for an unknown executable,
  /// every answer is absent or empty.
  explicit Bundle(std::string executablePath);

  /// The bundle of the running program. Made on first use, never destroyed.
  [[nodiscard]] static const Bundle& mainBundle();

  /// The program's path with all symbolic links resolved; absent when the system does not report it.
  [[nodiscard]] std::optional<std::string> executablePath() const;

  /// The folder of the resources; empty for an unknown executable.
  [[nodiscard]] const std::string& resourceFolder() const { return resourceFolder_; }

  /// The path of a resource, by its file name; absent when it does not exist.
  [[nodiscard]] std::optional<std::string> pathForResource(const std::string& name) const;

  /// The paths of the information dictionary and of a module with this file name, whether or not they exist.
  /// Empty for an unknown executable.
  [[nodiscard]] const std::string& infoPath() const { return infoPath_; }
  [[nodiscard]] std::string pathForModule(const std::string& fileName) const;

 private:
  std::string executablePath_;
  std::string resourceFolder_;
  std::string moduleFolder_;
  std::string infoPath_;
};

}  // namespace quelto::platform
