#include "launcher/request.h"

#include <utility>

#include "launcher/arguments.h"
#include "launcher/destination.h"
#include "launcher/program.h"
#include "launcher/server_list.h"
#include "launcher/ssh_locator.h"
#include "platform/user/environment.h"
#include "platform/user/user.h"
#include "util/strings.h"
#include "util/suite.h"

namespace quelto::launcher {
namespace {

/// The settings of the command line, merged with the server list and overridden by the destination.
SshSettings settingsFor(const Destination& destination, SshSettings given) {
  const ServerMerge merge = serverMergeOf(platform::environmentValue("SSH_TUNNEL"));
  SshSettings settings = mergeServers(std::move(given), loadSSHServers(), destination.host, merge);
  if (destination.port != 0) settings.port = destination.port;
  if (!destination.username.empty()) settings.username = destination.username;
  return settings;
}

std::string groupInForce(const std::optional<std::string>& given) {
  if (const auto group = platform::environmentValue("SSH_APPGROUP")) return std::string(util::trim(*group));
  return given.value_or(std::string(util::builtInGroupId));
}

}  // namespace

std::optional<Request> readRequest(std::span<const std::string> words) {
  SshLookup lookup;
  // Asked for while the shell runs, since the password database may be just as slow.
  std::string loginName = platform::userName();
  ParsedArguments parsed = parseArguments(words, lookup.path());
  Destination destination = parseDestination(parsed.destination);
  SshSettings settings = settingsFor(destination, {.port = parsed.port,
                                                   .username = std::move(parsed.username),
                                                   .identify = std::move(parsed.identify),
                                                   .sshCommand = std::move(parsed.sshCommand),
                                                   .arguments = std::move(parsed.options)});
  auto identifyFile = platform::environmentValue("AUTH_KEYCHAIN");
  if (!identifyFile) return std::nullopt;
  return Request{._host = std::move(destination.host),
                 .settings = std::move(settings),
                 .command = std::move(parsed.command),
                 .group_Id = groupInForce(parsed.group_Id),
                 .identifyFile = std::move(*identifyFile),
                 .loginName = std::move(loginName)};
}

}  // namespace quelto::launcher
