#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "launcher/server_list.h"

namespace quelto::launcher {

/// How ssh is to be called: what the command line says and the server list may complete or replace.
struct SshSettings {
  /// 0: none was given. Not range-checked; ssh rejects what it does not accept.
  std::int64_t port = 0;
  std::string username;
  /// The identity file for ssh's -i, or "".
  std::string identify;
  /// The ssh program's path.
  std::string sshCommand;
  /// Options for ssh.
  std::vector<std::string> arguments;
};

/// Whether a record only supplies what the command line left out, or replaces what it gave.
enum class ServerMerge { fillIn, override_ };

/// `fillIn` when the value of SSH_TUNNEL is "yes", in any case and with blanks around it; else `override_`.
[[nodiscard]] ServerMerge serverMergeOf(const std::optional<std::string>& sshTunnel);

/// Applies every record for the host, in the order of the list. Hosts are equal when their lower-case forms
/// are canonically equivalent.
[[nodiscard]] SshSettings mergeServers(SshSettings settings, const ServerList& servers, std::string_view host,
                                       ServerMerge merge);

}  // namespace quelto::launcher
