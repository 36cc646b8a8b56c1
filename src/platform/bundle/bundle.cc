#include "platform/bundle/bundle.h"

#include <limits.h>
#include <stdlib.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "platform/files/path_status.h"

namespace quelto::platform {
namespace {

std::string runningExecutable() {
  std::array<char, PATH_MAX> path;
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  // A result that fills the buffer may be cut off.
  if (length > 0 && static_cast<std::size_t>(length) < path.size()) {
    return {path.data(), static_cast<std::size_t>(length)};
  }
  // Without /proc: the path that the program was started by, if it is absolute.
  const auto* const started =
      reinterpret_cast<const char*>(::getauxval(AT_EXECFN));  // NOLINT(performance-no-int-to-ptr)
  const std::unique_ptr<char, decltype(&std::free)> resolved(
      started != nullptr && *started == '/' ? ::realpath(started, nullptr) : nullptr, &std::free);
  return resolved != nullptr ? resolved.get() : "";
}

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

/// The nearest ancestor folder named "Contents"; absent when there is none.
std::optional<std::string> contentsFolder(const std::string& executablePath) {
  constexpr std::string_view name = "/Contents";
  for (std::string folder = folderOf(executablePath); !folder.empty(); folder = folderOf(folder)) {
    if (folder.ends_with(name)) return folder;
  }
  return std::nullopt;
}

}  // namespace

Bundle::Bundle(std::string executablePath) : executablePath_(std::move(executablePath)) {
  if (!executablePath_.starts_with('/')) return;
  if (const auto contents = contentsFolder(executablePath_)) {
    resourceFolder_ = *contents + "/Resources";
    moduleFolder_ = *contents + "/PlugIns";
    infoPath_ = *contents + "/Info.plist";
  } else {
    resourceFolder_ = folderOf(executablePath_);
    moduleFolder_ = resourceFolder_;
    infoPath_ = resourceFolder_ + "/Info.plist";
  }
}

const Bundle& Bundle::mainBundle() {
  static const Bundle& bundle = *new Bundle(runningExecutable());
  return bundle;
}

std::optional<std::string> Bundle::executablePath() const {
  if (executablePath_.empty()) return std::nullopt;
  return executablePath_;
}

std::optional<std::string> Bundle::pathForResource(const std::string& name) const {
  if (infoPath_.empty() || name.empty()) return std::nullopt;
  std::string path = resourceFolder_ + "/" + name;
  if (!pathKind(path)) return std::nullopt;
  return path;
}

std::string Bundle::pathForModule(const std::string& fileName) const {
  return infoPath_.empty() ? "" : moduleFolder_ + "/" + fileName;
}

}  // namespace quelto::platform
