#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

namespace quelto::platform {

/// What a path led to at one moment. Another one once the file was written to or replaced.
struct FileVersion {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  std::int64_t changedAt = 0;  // nanoseconds
  friend bool operator==(const FileVersion&, const FileVersion&) = default;
};

/// Symbolic links are followed. Absent for a folder and when nothing is there. Thread-safe.
[[nodiscard]] std::optional<FileVersion> fileVersion(const std::string& path);

/// Removes the name, of a symbolic link the link's own, if it still leads to that version. False when it does
/// not, or may not be removed. A change between the comparison and the removal is lost: whoever writes the
/// file has to be kept out. Thread-safe.
bool removeFile(const std::string& path, const FileVersion& version);

}  // namespace quelto::platform
