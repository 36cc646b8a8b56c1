#include "platform/files/path_status.h"

#include <sys/stat.h>
#include <unistd.h>

namespace quelto::platform {
namespace {

std::optional<struct stat> statusOf(const std::string& path) {
  struct stat status {};
  if (path.find('\0') != std::string::npos || ::stat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
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

std::string parentFolder(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return path.substr(0, slash == 0 ? 1 : slash);
}

bool isSameFile(const std::string& one, const std::string& other) {
  const auto first = statusOf(one);
  const auto second = statusOf(other);
  return first && second && first->st_dev == second->st_dev && first->st_ino == second->st_ino;
}

}  // namespace quelto::platform
