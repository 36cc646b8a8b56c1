#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/files/unique_fd.h"
#include "platform/secrets/secret.h"

namespace quelto::platform::keychain {

/// The folder that holds what this program keeps for the user, opened and found to be private: a real folder
/// of the effective user with mode 0700. What stands in it is looked at through the descriptor, so that the
/// folder that was checked is the one that is used. All calls throw Failure: errSecNotAvailable for what is
/// not private or cannot be reached, errSecIO for what cannot be written.
class PrivateFolder {
 public:
  /// Absent when nothing stands at the path. Symbolic links above the folder are followed.
  [[nodiscard]] static std::optional<PrivateFolder> open(const std::string& path);

  /// Makes the folder, and those above it that are missing, before it is opened.
  [[nodiscard]] static PrivateFolder openOrMake(const std::string& path);

  struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;
    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
  };

  /// Which file has this name; absent when there is none. Fails when it is anything but a regular file of the
  /// effective user with mode 0600. The file is not opened for reading: to let go of a descriptor of a
  /// database file would drop SQLite's locks on it.
  [[nodiscard]] std::optional<FileIdentity> file(const char* name) const;

  /// The content of a file that is checked as above; absent when there is none, or it has more than
  /// `maximumSize` bytes.
  [[nodiscard]] std::optional<Secret> read(const char* name, std::size_t maximumSize) const;

  /// Puts a new file there whole (mode 0600 under any umask), unless there is one already; of many processes
  /// exactly one succeeds, and the others find that one's. Durable when it returns.
  void publish(const char* name, std::string_view content) const;

  /// The file open for reading and writing, checked as above; an empty one is made when there is none.
  [[nodiscard]] UniqueFd openOrMakeFile(const char* name) const;

  /// The file's path without any symbolic link, for a library that opens by name.
  [[nodiscard]] std::string pathOf(const char* name) const;

 private:
  explicit PrivateFolder(UniqueFd folder) : folder_(std::move(folder)) {}

  UniqueFd folder_;
};

}  // namespace quelto::platform::keychain
