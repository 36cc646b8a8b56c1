#pragma once

#include <string>
#include <string_view>

#include "platform/files/unique_fd.h"

namespace quelto::platform {

/// A new file under a name of its own, beside the one that it is to become, so that nobody ever sees a file
/// that is half written. Mode 0600 under any umask. The destructor removes the name; a process that is killed
/// first leaves it behind. One thread.
class TemporaryFile {
 public:
  /// Makes the file that is to become `name`, as "name.new-" and 16 random hexadecimal digits. The folder's
  /// descriptor is borrowed for the life of this object.
  TemporaryFile(int folder, std::string name);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  /// Writes the content and brings it to the disk; false when that fails, or the file could not be made.
  [[nodiscard]] bool write(std::string_view content);

  /// Gives the file its name, unless another file has it: of several processes exactly one succeeds, and the
  /// others find that one's. The name survives a loss of power when this returns true; false on a failure.
  [[nodiscard]] bool publish();

 private:
  void removeName();

  int folder_;
  std::string name_;
  std::string temporaryName_;
  UniqueFd file_;
};

}  // namespace quelto::platform
