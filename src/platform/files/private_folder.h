#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <utility>

#include "platform/files/file_result.h"
#include "platform/files/unique_fd.h"
#include "platform/secrets/secret.h"

namespace quelto::platform {

/// The folder that holds what this program keeps for the user: a folder of the effective user with mode 0700,
/// which is not a symbolic link. It is opened once and used through its descriptor, so that the folder that
/// was checked is the one that is used. Constant calls are thread-safe.
class PrivateFolder {
 public:
  /// Symbolic links above the folder are followed. Absent, or refused.
  static FileResult<PrivateFolder> open(const std::string& path);

  /// Makes the folder, and those above it that are missing, before it is opened. Refused, or failed.
  static FileResult<PrivateFolder> openOrMake(const std::string& path);

  struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;
    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
  };

  /// Which file has this name. Absent; refused when it is anything but a regular file of the effective user
  /// with mode 0600. The file is not opened for reading: closing a descriptor of a database file would drop
  /// SQLite's locks on it.
  [[nodiscard]] FileResult<FileIdentity> file(const char* name) const;

  /// The content of a file that is checked as above. Also tooLarge, for more than `maximumSize` bytes, or
  /// failed.
  [[nodiscard]] FileResult<Secret> read(const char* name, std::size_t maximumSize) const;

  /// Puts a new file there whole, with mode 0600, unless there is one already: see `TemporaryFile`. False
  /// when that fails.
  [[nodiscard]] bool publish(const char* name, std::string_view content) const;

  /// The file, open for reading and writing, checked as above; an empty one is made when there is none.
  [[nodiscard]] FileResult<UniqueFd> openOrMakeFile(const char* name) const;

  /// A path to the file through this folder's descriptor, for a library that opens by name. Valid in this
  /// process as long as this object lives.
  [[nodiscard]] std::string pathOf(const char* name) const;

 private:
  explicit PrivateFolder(UniqueFd folder) : folder_(std::move(folder)) {}

  UniqueFd folder_;
};

}  // namespace quelto::platform
