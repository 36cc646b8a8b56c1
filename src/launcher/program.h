#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace quelto::launcher {

/// What the tool knows about itself, whatever it is asked to do.
struct Program {
  /// The string table of every message and dialog.
  std::string localizedTable = "vantorSuiteSSH";
  /// The folder of the running executable; empty when the system does not report the executable's path.
  std::string resourceUrl;
  /// The graphical application's executable, whether or not it exists; absent when our own is unknown.
  std::optional<std::string> mainExecutable;
  std::int64_t ssh_build_no = 7086;
  /// "2.4.3." and the build number.
  std::string full_version;
};

[[nodiscard]] Program thisProgram();

}  // namespace quelto::launcher
