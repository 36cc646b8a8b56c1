#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "launcher/server_merge.h"

namespace quelto::launcher {

/// What the caller asks for, put together from the command line, the server list and the environment.
struct Request {
  /// As written in the destination.
  std::string _host;
  /// `username` is empty when nothing names the user.
  SshSettings settings;
  /// The words of the remote command.
  std::vector<std::string> command;
  /// The application group in force.
  std::string group_Id;
  /// The value of AUTH_KEYCHAIN: the marker file's path without its ".u".
  std::string identifyFile;
  /// The user who runs this tool, as the password database names them.
  std::string loginName;
};

/// Reads the command line (`words`: without the program name), the user's server list and the environment.
/// The destination's own user and port override all others. Waits for the login shell, which is asked where
/// ssh is. Absent when AUTH_KEYCHAIN is not set. Main thread only.
[[nodiscard]] std::optional<Request> readRequest(std::span<const std::string> words);

}  // namespace quelto::launcher
