#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/files/unique_fd.h"

namespace quelto::platform {

/// What may lose its name to a new file: a regular file of the effective user, or anything but a folder.
enum class Replaces { ownFile, anything };

/// A new file under a name of its own, beside the one that it is to become, so that nobody ever sees a file
/// that is half written. Mode 0600 under any umask. The destructor removes the name. A process that is killed
/// first leaves the file behind; whoever next writes the same file an hour or more later removes it. One
/// thread.
class TemporaryFile {
 public:
  /// Makes the file that is to become `name`, as "name.new-" and 16 random hexadecimal digits. The folder's
  /// descriptor is borrowed for the life of this object.
  TemporaryFile(int folder, std::string name);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  /// Writes the content; false when that fails, or the file could not be made.
  [[nodiscard]] bool write(std::string_view content);

  /// Gives the file its name, unless another file has it: of several processes exactly one succeeds, and the
  /// others find that one's. What has the name then is whole, and survives a loss of power when this returns
  /// true. False on a failure.
  [[nodiscard]] bool publish();

  /// Gives the file its name in one step, also when another file has it: everyone finds the one or the other.
  /// The new file keeps of the mode of the effective user's what is within 0600. False, and nothing has
  /// changed, on a failure or when what has the name may not lose it. False also when the file has its name
  /// but may lose it with the power.
  [[nodiscard]] bool replace(Replaces replaces);

 private:
  [[nodiscard]] std::optional<mode_t> modeAsReplacement(Replaces replaces) const;
  [[nodiscard]] bool reachesDisk() const;
  void removeAbandoned() const;
  void removeName();

  int folder_;
  std::string name_;
  std::string temporaryName_;
  UniqueFd file_;
};

}  // namespace quelto::platform
