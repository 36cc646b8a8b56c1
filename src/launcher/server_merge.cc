#include "launcher/server_merge.h"

#include "platform/text/unicode.h"
#include "util/strings.h"

namespace quelto::launcher {
namespace {

std::vector<std::string> wordsOf(std::string_view parameters) {
  const auto pieces = util::split(parameters, ' ');
  return {pieces.begin(), pieces.end()};
}

void fillIn(SshSettings& settings, const SSHServer& server) {
  if (settings.port == 0) settings.port = server.port;
  if (settings.username.empty()) settings.username = server.username;
  if (settings.identify.empty()) settings.identify = server.identify;
  if (settings.sshCommand.empty()) settings.sshCommand = server.command;
  if (settings.arguments.empty() && !server.parameters.empty()) {
    settings.arguments = wordsOf(server.parameters);
  }
}

void override_(SshSettings& settings, const SSHServer& server) {
  if (server.port != 0) settings.port = server.port;
  if (!server.username.empty()) settings.username = server.username;
  if (!server.identify.empty()) settings.identify = server.identify;
  if (!server.command.empty()) settings.sshCommand = server.command;
  if (!server.parameters.empty()) settings.arguments = wordsOf(server.parameters);
}

}  // namespace

ServerMerge serverMergeOf(const std::optional<std::string>& sshTunnel) {
  const bool isYes = sshTunnel && platform::lowercased(util::trimWhitespace(*sshTunnel)) == "yes";
  return isYes ? ServerMerge::fillIn : ServerMerge::override_;
}

SshSettings mergeServers(SshSettings settings, const ServerList& servers, std::string_view host,
                         ServerMerge merge) {
  const std::string lowerCaseHost = platform::lowercased(host);
  for (const SSHServer& server : servers) {
    if (!platform::isCanonicallyEqual(server.host, lowerCaseHost)) continue;
    if (merge == ServerMerge::fillIn) {
      fillIn(settings, server);
    } else {
      override_(settings, server);
    }
  }
  return settings;
}

}  // namespace quelto::launcher
