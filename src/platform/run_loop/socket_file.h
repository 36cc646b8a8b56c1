#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/run_loop/run_loop_socket.h"

namespace quelto::platform {

/// The file by which a local socket is found: in a folder of ours alone (0700), no symbolic link. One thread.
class SocketFile {
 public:
  explicit SocketFile(std::string path) : path_(std::move(path)) {}

  enum class Claim {
    listening,
    /// Another socket listens there, or another server has been claiming the place for seconds.
    taken,
    /// The folder is not ours alone, anything but a socket or a regular file of ours is in the place, the
    /// path cannot be an address, or the system refuses.
    refused,
  };
  /// Has the socket listen there, in place of a file that nobody listens at. Servers that do this or `remove`
  /// at the same time take turns (`FolderLock`).
  [[nodiscard]] Claim claim(RunLoopSocket& socket);

  /// Removes the file that was claimed, unless another one is in its place. To be called while the socket is
  /// open: once it is closed, another file may be given the same inode.
  void remove();

  /// Whether a socket of ours is there.
  [[nodiscard]] bool isOurSocket() const;

 private:
  struct Identity {
    dev_t device;
    ino_t inode;
    friend bool operator==(const Identity&, const Identity&) = default;
  };

  [[nodiscard]] bool isInPrivateFolder() const;
  [[nodiscard]] std::optional<Identity> identity() const;
  [[nodiscard]] std::optional<Claim> obstacle() const;

  std::string path_;
  std::optional<Identity> claimed_;
};

}  // namespace quelto::platform
