#include "platform/files/read_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

#include "platform/files/descriptor_io.h"
#include "platform/files/ownership.h"
#include "platform/files/unique_fd.h"

namespace quelto::platform {
namespace {

bool isAnything(const struct stat& /*status*/) { return true; }

FileResult<std::string> readIf(const std::string& path, std::size_t maximumSize,
                               bool (*accepts)(const struct stat&)) {
  if (path.find('\0') != std::string::npos) return FileError::refused;
  // Non-blocking, since opening a FIFO would otherwise wait for a writer.
  const UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!file) return errno == ENOENT ? FileError::absent : FileError::refused;
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return FileError::failed;
  if (!S_ISREG(status.st_mode) || !accepts(status)) return FileError::refused;
  return readUntilEnd(file.get(), static_cast<std::size_t>(status.st_size), maximumSize);
}

}  // namespace

std::optional<std::string> readFile(const std::string& path, std::size_t maximumSize) {
  auto content = readIf(path, maximumSize, isAnything);
  return content ? std::optional(std::move(*content)) : std::nullopt;
}

FileResult<std::string> readTrustedFile(const std::string& path, std::size_t maximumSize) {
  return readIf(path, maximumSize, isTrusted);
}

}  // namespace quelto::platform
