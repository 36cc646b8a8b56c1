#include "platform/files/read_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/files/descriptor_io.h"
#include "platform/files/ownership.h"
#include "platform/files/unique_fd.h"

namespace quelto::platform {
namespace {

bool isAnything(const struct stat& /*status*/) { return true; }

std::optional<std::string> readIf(const std::string& path, std::size_t maximumSize,
                                  bool (*accepts)(const struct stat&)) {
  if (path.find('\0') != std::string::npos) return std::nullopt;
  // Non-blocking, since opening a FIFO would otherwise wait for a writer.
  const UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) || !accepts(status)) {
    return std::nullopt;
  }
  return readUntilEnd(file.get(), static_cast<std::size_t>(status.st_size), maximumSize);
}

}  // namespace

std::optional<std::string> readFile(const std::string& path, std::size_t maximumSize) {
  return readIf(path, maximumSize, isAnything);
}

std::optional<std::string> readTrustedFile(const std::string& path, std::size_t maximumSize) {
  return readIf(path, maximumSize, isTrusted);
}

}  // namespace quelto::platform
