#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "launcher/server_list.h"
#include "platform/threads/semaphore.h"

namespace quelto::launcher {

/// The application group in force unless the caller names another one.
constexpr std::string_view builtInGroupId = "org.quelto.suite";

/// The values of one run. `main` owns the one instance and hands it from step to step; each step completes
/// what the step before left open. Written by the main thread only, `username` also by the background
/// look-ups. The language stands in ui/localized_strings.h, the running ssh (`task`) in forwarding_signal.h.
struct ProcessValues {
  /// The string table of every message and dialog.
  std::string localizedTable = "vantorSuiteSSH";
  /// The program title; set for the banner only.
  std::string appId;
  std::string group_Id{builtInGroupId};
  /// The folder of the running executable.
  std::string resourceUrl;
  /// The graphical application's executable; absent when our own is unknown.
  std::optional<std::string> mainExecutable;
  /// The value of AUTH_KEYCHAIN: the marker file's path without its ".u".
  std::string identifyFile;
  /// The server list, relative to the home folder.
  std::string settingsFile = ".quelto/sshservers";
  ServerList servers;

  /// The highest revision and the sorted unit lines; set for the banner only.
  std::pair<std::int64_t, std::vector<std::string>> calc_version;
  std::int64_t ssh_build_no = 7086;
  std::string full_version;

  /// Options for ssh; grows into ssh's whole argument list.
  std::vector<std::string> arguments;
  /// The remote command words.
  std::vector<std::string> command;
  std::string username;
  /// The identity file for ssh's -i, or "".
  std::string identify;
  std::string destination;
  /// The ssh program's path.
  std::string sshCommand;
  /// 0: none was given. Not range-checked; ssh says what it thinks of it.
  std::int64_t port = 0;

  /// Who runs this tool, as the password database says.
  std::string loginName;

  /// The parts of `destination`; `_port` is 0 when it names none.
  std::string _username;
  std::string _host;
  std::int64_t _port = 0;

  /// Counts the background store accesses that have ended; made with count 1 just before the user-name flow.
  std::optional<platform::Semaphore> finish;
};

}  // namespace quelto::launcher
