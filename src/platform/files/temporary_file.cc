#include "platform/files/temporary_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <utility>

#include "platform/files/descriptor_io.h"
#include "platform/files/ownership.h"
#include "platform/files/random_digits.h"

namespace quelto::platform {
namespace {

constexpr mode_t fileMode = S_IRUSR | S_IWUSR;
constexpr time_t secondsUntilAbandoned = 3600;

std::string temporaryPrefix(const std::string& name) { return name + ".new-"; }

/// Empty without randomness.
std::string temporaryNameFor(const std::string& name) {
  const std::string digits = randomDigits();
  return digits.empty() ? "" : temporaryPrefix(name) + digits;
}

bool isTemporaryNameFor(const std::string& name, std::string_view candidate) {
  const std::string prefix = temporaryPrefix(name);
  return candidate.size() == prefix.size() + randomDigitsLength && candidate.starts_with(prefix) &&
         candidate.find_first_not_of(hexadecimalDigits, prefix.size()) == std::string_view::npos;
}

}  // namespace

TemporaryFile::TemporaryFile(int folder, std::string name)
    : folder_(folder), name_(std::move(name)), temporaryName_(temporaryNameFor(name_)) {
  constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  // SECURITY: with a looser mode others could open the file before it is narrowed, and read all that follows.
  if (!temporaryName_.empty()) file_ = UniqueFd(::openat(folder_, temporaryName_.c_str(), flags, fileMode));
}

TemporaryFile::~TemporaryFile() { removeName(); }

void TemporaryFile::removeName() {
  if (file_) ::unlinkat(folder_, temporaryName_.c_str(), 0);
  file_.reset();
}

bool TemporaryFile::write(std::string_view content) {
  // The umask has narrowed the mode that open was given.
  return file_ && ::fchmod(file_.get(), fileMode) == 0 && writeAll(file_.get(), content);
}

bool TemporaryFile::publish() {
  if (!reachesDisk()) return false;
  removeAbandoned();
  // A rename that replaces nothing is unknown to NFS; what has no hard links has no modes either.
  const bool isThere =
      ::linkat(folder_, temporaryName_.c_str(), folder_, name_.c_str(), 0) == 0 || errno == EEXIST;
  removeName();
  return isThere && folderReachesDisk(folder_);
}

bool TemporaryFile::replace(Replaces replaces) {
  const auto mode = modeAsReplacement(replaces);
  if (!mode || ::fchmod(file_.get(), *mode) != 0 || !reachesDisk()) return false;
  removeAbandoned();
  if (::renameat(folder_, temporaryName_.c_str(), folder_, name_.c_str()) != 0) return false;
  file_.reset();
  return folderReachesDisk(folder_);
}

bool TemporaryFile::reachesDisk() const { return ::fsync(file_.get()) == 0; }

/// Absent when what has the name may not be replaced.
std::optional<mode_t> TemporaryFile::modeAsReplacement(Replaces replaces) const {
  struct stat status {};
  if (::fstatat(folder_, name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno == ENOENT ? std::optional(fileMode) : std::nullopt;
  }
  // SECURITY: a looser mode, once given by accident, would be passed on to every later content.
  if (isOwnFile(status)) return status.st_mode & fileMode;
  // A folder resists the rename.
  return replaces == Replaces::anything ? std::optional(fileMode) : std::nullopt;
}

/// An hour by the file system's clock, not by ours. Whoever is removed by mistake, having been stopped for so
/// long, finds its name gone and fails.
void TemporaryFile::removeAbandoned() const {
  struct stat mine {};
  if (::fstat(file_.get(), &mine) != 0) return;
  // Through a descriptor of its own, since reading moves on.
  const auto closed = [](DIR* folder) { ::closedir(folder); };
  const std::unique_ptr<DIR, decltype(closed)> folder(
      ::opendir(("/proc/self/fd/" + std::to_string(folder_)).c_str()), closed);
  while (const dirent* const entry = folder != nullptr ? ::readdir(folder.get()) : nullptr) {
    const std::string name = entry->d_name;
    struct stat status {};
    const bool isAbandoned = isTemporaryNameFor(name_, name) &&
                             ::fstatat(folder_, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                             isOwnFile(status) && status.st_mtime + secondsUntilAbandoned <= mine.st_mtime;
    if (isAbandoned) ::unlinkat(folder_, name.c_str(), 0);
  }
}

}  // namespace quelto::platform
