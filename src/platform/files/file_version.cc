#include "platform/files/file_version.h"

#include <sys/stat.h>
#include <unistd.h>

namespace quelto::platform {

std::optional<FileVersion> fileVersion(const std::string& path) {
  struct stat status {};
  if (path.find('\0') != std::string::npos || ::stat(path.c_str(), &status) != 0 || S_ISDIR(status.st_mode)) {
    return std::nullopt;
  }
  constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
  return FileVersion{.device = status.st_dev,
                     .inode = status.st_ino,
                     .size = status.st_size,
                     .changedAt = status.st_ctim.tv_sec * nanosecondsPerSecond + status.st_ctim.tv_nsec};
}

bool removeFile(const std::string& path, const FileVersion& version) {
  return fileVersion(path) == version && ::unlink(path.c_str()) == 0;
}

}  // namespace quelto::platform
