#include "platform/files/private_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

#include "platform/files/descriptor_io.h"
#include "platform/files/ownership.h"
#include "platform/files/path_status.h"
#include "platform/files/temporary_file.h"

namespace quelto::platform {
namespace {

constexpr mode_t folderMode = 0700;

/// Absent unless the opened file or folder is accepted.
std::optional<struct stat> statusIf(const UniqueFd& opened, bool (*accepts)(const struct stat&)) {
  struct stat status {};
  if (::fstat(opened.get(), &status) != 0 || !accepts(status)) return std::nullopt;
  return status;
}

struct OpenFile {
  UniqueFd file;
  struct stat status;
};

FileResult<OpenFile> openFile(const UniqueFd& folder, const char* name, int flags) {
  // SECURITY: without O_NOFOLLOW a link that was planted under our name makes us trust a file elsewhere.
  // (With O_PATH the link itself is opened, which is no regular file.)
  UniqueFd opened(::openat(folder.get(), name, flags | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!opened) return errno == ENOENT ? FileError::absent : FileError::refused;
  const auto status = statusIf(opened, isPrivateFile);
  if (!status) return FileError::refused;
  return OpenFile{.file = std::move(opened), .status = *status};
}

std::string pathThrough(const UniqueFd& opened) { return "/proc/self/fd/" + std::to_string(opened.get()); }

/// A slash at the end would have a symbolic link followed in spite of O_NOFOLLOW.
std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

/// Success when the folder is there, made by this call or not.
std::optional<FileError> makeFolder(const std::string& path) {
  const std::string above = parentFolder(path);
  if (!pathKind(above)) {
    if (const auto error = makeFolder(above)) return error;
  }
  if (::mkdir(path.c_str(), folderMode) != 0) {
    return errno == EEXIST ? std::nullopt : std::optional(FileError::refused);
  }
  // The umask may have taken rights from the owner too. Not by name: whoever may write above could have put a
  // link there by now.
  const UniqueFd made(::open(path.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!made || ::chmod(pathThrough(made).c_str(), folderMode) != 0) return FileError::failed;
  // The folder's own name has to survive a loss of power as well as what will be in it.
  const UniqueFd parent(::open(above.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!parent || !folderReachesDisk(parent.get())) return FileError::failed;
  return std::nullopt;
}

}  // namespace

FileResult<PrivateFolder> PrivateFolder::open(const std::string& path) {
  if (path.find('\0') != std::string::npos) return FileError::refused;
  // SECURITY: a link in the folder's place leads to a folder that somebody else chose.
  constexpr int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  UniqueFd folder(::open(withoutTrailingSlashes(path).c_str(), flags));
  if (!folder) return errno == ENOENT ? FileError::absent : FileError::refused;
  if (!statusIf(folder, isPrivateFolder)) return FileError::refused;
  return PrivateFolder(std::move(folder));
}

FileResult<PrivateFolder> PrivateFolder::openOrMake(const std::string& path) {
  auto folder = open(path);
  if (!folder.isAbsent()) return folder;
  if (const auto error = makeFolder(withoutTrailingSlashes(path))) return *error;
  folder = open(path);
  // Another process has removed it again.
  if (folder.isAbsent()) return FileError::refused;
  return folder;
}

FileResult<PrivateFolder::FileIdentity> PrivateFolder::file(const char* name) const {
  const auto opened = openFile(folder_, name, O_PATH);
  if (!opened) return opened.error();
  return FileIdentity{.device = opened->status.st_dev, .inode = opened->status.st_ino};
}

FileResult<Secret> PrivateFolder::read(const char* name, std::size_t maximumSize) const {
  const auto opened = openFile(folder_, name, O_RDONLY);
  if (!opened) return opened.error();
  // One byte more, so that a larger file is seen.
  Secret content = Secret::ofSize(maximumSize + 1);
  const auto length = readFully(opened->file.get(), {content.data(), content.size()});
  if (!length) return FileError::failed;
  if (*length > maximumSize) return FileError::tooLarge;
  content.shrink(*length);
  return content;
}

bool PrivateFolder::publish(const char* name, std::string_view content) const {
  TemporaryFile file(folder_.get(), name);
  return file.write(content) && file.publish();
}

FileResult<UniqueFd> PrivateFolder::openOrMakeFile(const char* name) const {
  auto opened = openFile(folder_, name, O_RDWR);
  if (opened.isAbsent()) {
    if (!publish(name, "")) return FileError::failed;
    opened = openFile(folder_, name, O_RDWR);
  }
  if (!opened) return opened.error();
  return std::move(opened->file);
}

std::string PrivateFolder::pathOf(const char* name) const { return pathThrough(folder_) + "/" + name; }

}  // namespace quelto::platform
