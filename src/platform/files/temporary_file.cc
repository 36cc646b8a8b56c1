#include "platform/files/temporary_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "platform/files/descriptor_io.h"

namespace quelto::platform {
namespace {

constexpr mode_t fileMode = 0600;

/// Empty without randomness.
std::string temporaryNameFor(const std::string& name) {
  std::array<unsigned char, 8> random{};
  if (::getentropy(random.data(), random.size()) != 0) return "";
  std::string result = name + ".new-";
  for (const unsigned char byte : random) {
    result += "0123456789abcdef"[byte >> 4U];
    result += "0123456789abcdef"[byte & 15U];
  }
  return result;
}

}  // namespace

TemporaryFile::TemporaryFile(int folder, std::string name)
    : folder_(folder), name_(std::move(name)), temporaryName_(temporaryNameFor(name_)) {
  constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  if (!temporaryName_.empty()) file_ = UniqueFd(::openat(folder_, temporaryName_.c_str(), flags, fileMode));
}

TemporaryFile::~TemporaryFile() { removeName(); }

void TemporaryFile::removeName() {
  if (file_) ::unlinkat(folder_, temporaryName_.c_str(), 0);
  file_.reset();
}

bool TemporaryFile::write(std::string_view content) {
  // The umask has narrowed the mode that open was given.
  return file_ && ::fchmod(file_.get(), fileMode) == 0 && writeAll(file_.get(), content) &&
         ::fsync(file_.get()) == 0;
}

bool TemporaryFile::publish() {
  // A rename that replaces nothing is unknown to NFS; what has no hard links has no modes either.
  const bool isThere =
      ::linkat(folder_, temporaryName_.c_str(), folder_, name_.c_str(), 0) == 0 || errno == EEXIST;
  removeName();
  return isThere && ::fsync(folder_) == 0;
}

}  // namespace quelto::platform
