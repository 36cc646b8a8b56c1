#include "platform/files/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/files/unique_fd.h"

namespace quelto::platform {
namespace {

std::optional<struct stat> statusOf(const std::string& path) {
  struct stat status {};
  if (path.find('\0') != std::string::npos || ::stat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
}

bool isAnything(const struct stat& /*status*/) { return true; }

bool isTrusted(const struct stat& status) {
  // SECURITY: what is read with this check names programs that we run; without it any local user who can
  // plant or change the file runs code as this user.
  const bool ownedByUs = status.st_uid == ::geteuid() || status.st_uid == 0;
  return ownedByUs && (status.st_mode & S_IWOTH) == 0;
}

std::optional<std::string> readUntilEnd(int fd, std::size_t expectedSize, std::size_t maximumSize) {
  if (expectedSize > maximumSize) return std::nullopt;
  std::string content;
  std::size_t length = 0;
  // One byte more than the file holds, so that the end is seen without growing the buffer.
  content.resize(expectedSize + 1);
  for (;;) {
    const ssize_t count = ::read(fd, content.data() + length, content.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
    if (length > maximumSize) return std::nullopt;
    if (length == content.size()) content.resize(std::min(length * 2, maximumSize) + 1);
  }
  content.resize(length);
  return content;
}

std::optional<std::string> readIf(const std::string& path, std::size_t maximumSize,
                                  bool (*accepts)(const struct stat&)) {
  if (path.find('\0') != std::string::npos) return std::nullopt;
  // Non-blocking, since opening a FIFO that stands in the file's place would otherwise wait for a writer.
  const UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) || !accepts(status)) {
    return std::nullopt;
  }
  return readUntilEnd(file.get(), static_cast<std::size_t>(status.st_size), maximumSize);
}

}  // namespace

std::optional<PathKind> pathKind(const std::string& path) {
  const auto status = statusOf(path);
  if (!status) return std::nullopt;
  return S_ISDIR(status->st_mode) ? PathKind::folder : PathKind::other;
}

bool isExecutable(const std::string& path) {
  return path.find('\0') == std::string::npos && ::access(path.c_str(), X_OK) == 0;
}

bool isSameFile(const std::string& one, const std::string& other) {
  const auto first = statusOf(one);
  const auto second = statusOf(other);
  return first && second && first->st_dev == second->st_dev && first->st_ino == second->st_ino;
}

std::optional<std::string> readFile(const std::string& path, std::size_t maximumSize) {
  return readIf(path, maximumSize, isAnything);
}

std::optional<std::string> readTrustedFile(const std::string& path, std::size_t maximumSize) {
  return readIf(path, maximumSize, isTrusted);
}

}  // namespace quelto::platform
