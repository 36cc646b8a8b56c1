#include "platform/files/private_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "keychain/failure.h"

namespace quelto::platform::keychain {
namespace {

constexpr mode_t permissions = 0777;
constexpr mode_t folderMode = 0700;
constexpr mode_t fileMode = 0600;

struct stat statusOf(const UniqueFd& opened) {
  struct stat status {};
  if (::fstat(opened.get(), &status) != 0) throw Failure(errSecNotAvailable);
  return status;
}

void requireOwnFolder(const UniqueFd& opened) {
  const struct stat status = statusOf(opened);
  // SECURITY: whoever else may write to the folder can put a database and a key of their own in the place of
  // ours and receives the passwords that are saved next; whoever may read it copies both.
  if (!S_ISDIR(status.st_mode) || status.st_uid != ::geteuid() ||
      (status.st_mode & permissions) != folderMode) {
    throw Failure(errSecNotAvailable);
  }
}

struct stat requireOwnFile(const UniqueFd& opened) {
  const struct stat status = statusOf(opened);
  // SECURITY: a key or a database that others may read or have written gives them every password in it.
  if (!S_ISREG(status.st_mode) || status.st_uid != ::geteuid() ||
      (status.st_mode & permissions) != fileMode) {
    throw Failure(errSecNotAvailable);
  }
  return status;
}

/// Not open when nothing has this name. A name that leads elsewhere is opened itself (with O_PATH) or fails.
UniqueFd openFile(const UniqueFd& folder, const char* name, int flags) {
  // SECURITY: without O_NOFOLLOW a link that was planted under our name makes us trust a file elsewhere.
  UniqueFd opened(::openat(folder.get(), name, flags | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (!opened && errno != ENOENT) throw Failure(errSecNotAvailable);
  return opened;
}

bool writeWhole(const UniqueFd& file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t count = ::write(file.get(), content.data(), content.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    content.remove_prefix(static_cast<std::size_t>(count));
  }
  // The mode that open was given is narrowed by the umask.
  return ::fchmod(file.get(), fileMode) == 0 && ::fsync(file.get()) == 0;
}

std::string temporaryNameFor(const char* name) {
  std::array<unsigned char, 8> random{};
  if (::getentropy(random.data(), random.size()) != 0) throw Failure(errSecIO);
  std::string result = std::string(name) + ".new-";
  for (const unsigned char byte : random) {
    result += "0123456789abcdef"[byte >> 4U];
    result += "0123456789abcdef"[byte & 15U];
  }
  return result;
}

std::string pathThrough(const UniqueFd& opened) { return "/proc/self/fd/" + std::to_string(opened.get()); }

/// Under a name of its own until it has `name`, which is left behind only by a process that is killed here.
bool publishRenamed(const UniqueFd& folder, const char* name, std::string_view content) {
  const std::string temporary = temporaryNameFor(name);
  const UniqueFd file(::openat(folder.get(), temporary.c_str(),
                               O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, fileMode));
  if (!file) return false;
  const auto isTaken = [](int result) { return result == 0 || errno == EEXIST; };
  // Some file systems have no links, and others no rename that replaces nothing.
  const bool isThere =
      writeWhole(file, content) &&
      (isTaken(::linkat(folder.get(), temporary.c_str(), folder.get(), name, 0)) ||
       isTaken(::renameat2(folder.get(), temporary.c_str(), folder.get(), name, RENAME_NOREPLACE)));
  const bool isTidy = ::unlinkat(folder.get(), temporary.c_str(), 0) == 0 || errno == ENOENT;
  return isThere && isTidy;
}

/// Without any name until it has `name`: of a process that is killed nothing stays.
bool publishUnnamed(const UniqueFd& folder, const UniqueFd& file, const char* name,
                    std::string_view content) {
  return writeWhole(file, content) &&
         (::linkat(AT_FDCWD, pathThrough(file).c_str(), folder.get(), name, AT_SYMLINK_FOLLOW) == 0 ||
          errno == EEXIST);
}

void makeFolder(const std::filesystem::path& path) {
  std::error_code ignored;
  if (path.has_relative_path() && !std::filesystem::exists(path.parent_path(), ignored)) {
    makeFolder(path.parent_path());
  }
  if (::mkdir(path.c_str(), folderMode) != 0) {
    if (errno == EEXIST) return;
    throw Failure(errSecNotAvailable);
  }
  // The umask may have taken rights from the owner too. Not by name: whoever may write above could have put a
  // link there by now.
  const UniqueFd made(::open(path.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!made || ::chmod(pathThrough(made).c_str(), folderMode) != 0) throw Failure(errSecIO);
  // The folder's own name has to survive a loss of power as well as what will be in it.
  const UniqueFd parent(::open(path.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!parent || ::fsync(parent.get()) != 0) throw Failure(errSecIO);
}

/// A slash at the end would have a symbolic link followed in spite of O_NOFOLLOW.
std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

}  // namespace

std::optional<PrivateFolder> PrivateFolder::open(const std::string& path) {
  if (path.find('\0') != std::string::npos) throw Failure(errSecNotAvailable);
  // SECURITY: a link in the folder's place leads to a folder that somebody else chose.
  UniqueFd folder(
      ::open(withoutTrailingSlashes(path).c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!folder && errno == ENOENT) return std::nullopt;
  if (!folder) throw Failure(errSecNotAvailable);
  requireOwnFolder(folder);
  return PrivateFolder(std::move(folder));
}

PrivateFolder PrivateFolder::openOrMake(const std::string& path) {
  auto folder = open(path);
  if (!folder) {
    makeFolder(withoutTrailingSlashes(path));
    folder = open(path);
  }
  if (!folder) throw Failure(errSecNotAvailable);
  return std::move(*folder);
}

std::optional<PrivateFolder::FileIdentity> PrivateFolder::file(const char* name) const {
  const UniqueFd opened = openFile(folder_, name, O_PATH);
  if (!opened) return std::nullopt;
  const struct stat status = requireOwnFile(opened);
  return FileIdentity{.device = status.st_dev, .inode = status.st_ino};
}

std::optional<Secret> PrivateFolder::read(const char* name, std::size_t maximumSize) const {
  const UniqueFd opened = openFile(folder_, name, O_RDONLY);
  if (!opened) return std::nullopt;
  requireOwnFile(opened);
  // One byte more, so that a larger file is seen.
  Secret content = Secret::ofSize(maximumSize + 1);
  std::size_t length = 0;
  for (;;) {
    const ssize_t count = ::read(opened.get(), content.data() + length, content.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw Failure(errSecIO);
    length += static_cast<std::size_t>(count);
    if (count == 0 || length > maximumSize) break;
  }
  if (length > maximumSize) return std::nullopt;
  content.shrink(length);
  return content;
}

void PrivateFolder::publish(const char* name, std::string_view content) const {
  const UniqueFd unnamed(::openat(folder_.get(), ".", O_WRONLY | O_TMPFILE | O_CLOEXEC, fileMode));
  const bool hasNone = !unnamed && (errno == EOPNOTSUPP || errno == EISDIR || errno == ENOENT);
  const bool isThere = hasNone ? publishRenamed(folder_, name, content)
                               : unnamed && publishUnnamed(folder_, unnamed, name, content);
  if (!isThere || ::fsync(folder_.get()) != 0) throw Failure(errSecIO);
}

UniqueFd PrivateFolder::openOrMakeFile(const char* name) const {
  UniqueFd opened = openFile(folder_, name, O_RDWR);
  if (!opened) {
    publish(name, "");
    opened = openFile(folder_, name, O_RDWR);
  }
  requireOwnFile(opened);
  return opened;
}

std::string PrivateFolder::pathOf(const char* name) const {
  std::error_code error;
  const auto path = std::filesystem::read_symlink(pathThrough(folder_), error);
  if (error) throw Failure(errSecNotAvailable);
  return (path / name).string();
}

}  // namespace quelto::platform::keychain
