#include "launcher/start_up.h"

#include <utility>

#include "launcher/arguments.h"
#include "launcher/destination.h"
#include "launcher/server_list.h"
#include "launcher/ssh_locator.h"
#include "platform/bundle/bundle.h"
#include "platform/user/environment.h"
#include "platform/user/user.h"
#include "ui/error_line.h"
#include "ui/localized_strings.h"
#include "util/paths.h"
#include "util/strings.h"
#include "util/version.h"

namespace quelto::launcher {
namespace {

/// The folder that an absolute path stands in.
std::string parentOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 ? "/" : path.substr(0, slash);
}

/// What only the banner shows; a tunnel does not pay for it. Comes before the language is known: the title
/// follows the system's language.
void setBannerTexts(ProcessValues& values) {
  values.appId = ui::localizedString("ssh_name", "consts", "queltoSSH");
  values.calc_version = util::Version().calculate();
}

void setFolders(ProcessValues& values) {
  const auto executable = platform::Bundle::mainBundle().executablePath();
  if (!executable) return;
  values.resourceUrl = parentOf(*executable);
  values.mainExecutable = util::appendingPathComponent(parentOf(values.resourceUrl), "MacOS/quelto");
}

void setVersion(ProcessValues& values) {
  if (values.ssh_build_no == 0) values.ssh_build_no = util::Version().calculate().first;
  values.full_version = "2.4.3." + std::to_string(values.ssh_build_no);
}

void takeArguments(ProcessValues& values, std::span<const std::string> words) {
  SshLookup lookup;
  // While the shell runs: the password database may be as slow.
  values.loginName = platform::userName();
  ParsedArguments parsed = parseArguments(words, lookup.path());
  values.arguments = std::move(parsed.options);
  values.command = std::move(parsed.command);
  values.username = std::move(parsed.username);
  values.port = parsed.port;
  values.identify = std::move(parsed.identify);
  values.destination = std::move(parsed.destination);
  values.sshCommand = std::move(parsed.sshCommand);
  if (parsed.group_Id) values.group_Id = std::move(*parsed.group_Id);
}

void takeDestination(ProcessValues& values) {
  Destination parts = parseDestination(values.destination);
  values._username = std::move(parts.username);
  values._host = std::move(parts.host);
  values._port = parts.port;
}

void letDestinationWin(ProcessValues& values) {
  if (values._port != 0) values.port = values._port;
  if (!values._username.empty()) values.username = values._username;
}

void takeEnvironment(ProcessValues& values) {
  auto keychain = platform::environmentValue("AUTH_KEYCHAIN");
  if (!keychain) ui::failWith(ui::invalidEnvironment, values.localizedTable);
  values.identifyFile = std::move(*keychain);
  if (const auto group = platform::environmentValue("SSH_APPGROUP")) values.group_Id = util::trim(*group);
}

}  // namespace

void startUp(ProcessValues& values, Mode mode) {
  if (mode == Mode::banner) setBannerTexts(values);
  setFolders(values);
  setVersion(values);
  ui::globalCustomLanguage = platform::environmentValue("AUTH_LANGUAGE").value_or("");
  // The crash client connects here, always for the built-in group, and the fatal signals are routed to the
  // crash handler once there is one.
}

std::string banner(const ProcessValues& values) {
  const auto& [revision, lines] = values.calc_version;
  std::string text = values.appId + ", " + values.full_version + " (" + std::to_string(revision) + ")\n\n";
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

void readRequest(ProcessValues& values, std::span<const std::string> words) {
  takeArguments(values, words);
  loadSSHServers(values);
  takeDestination(values);
  mergeServers(values, serverMergeOf(platform::environmentValue("SSH_TUNNEL")));
  letDestinationWin(values);
  takeEnvironment(values);
}

}  // namespace quelto::launcher
