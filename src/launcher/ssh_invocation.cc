#include "launcher/ssh_invocation.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "launcher/ssh_locator.h"
#include "platform/bundle/bundle.h"
#include "platform/user/environment.h"
#include "ui/localized_strings.h"
#include "util/strings.h"

namespace quelto::launcher {
namespace {

constexpr const char* askPassHelper = "queltoAut";

std::string programFor(const Request& request) {
  std::string sshCommand = request.settings.sshCommand;
  if (const auto original = platform::environmentValue("SSH_ORIGINAL")) {
    sshCommand = util::trimWhitespace(*original);
  }
  return sshCommand == "ssh" ? find() : sshCommand;
}

std::vector<std::string> argumentsFor(const Request& request) {
  const SshSettings& settings = request.settings;
  std::vector<std::string> words{"-l", settings.username};
  if (!settings.identify.empty()) words.insert(words.end(), {"-i", settings.identify});
  if (settings.port != 0) words.insert(words.end(), {"-p", std::to_string(settings.port)});
  words.insert(words.end(), settings.arguments.begin(), settings.arguments.end());
  words.push_back(settings.username + "@" + request._host);
  words.insert(words.end(), request.command.begin(), request.command.end());
  return words;
}

std::string portText(std::int64_t port) { return port == 0 ? "22" : std::to_string(port); }

/// Nothing of our own environment is inherited but SSH_AUTH_SOCK, LOGNAME and HOME.
std::vector<std::string> environmentFor(const Request& request) {
  std::vector<std::string> environment;
  const auto set = [&environment](std::string_view name, std::string_view value) {
    environment.push_back(std::string(name) + "=" + std::string(value));
  };
  set("LC_ALL", "en_US.UTF-8");
  set("LANG", "en_US.UTF-8");
  set("DISPLAY", "NONE");
  set("AUT_APPGROUP", request.group_Id);
  if (const auto helper = platform::Bundle::mainBundle().pathForResource(askPassHelper)) {
    set("SSH_ASKPASS", *helper);
  }
  set("USER", request.loginName);
  set("AUTH_KEYCHAIN", request.identifyFile);
  if (ui::globalCustomLanguage) set("AUTH_LANGUAGE", *ui::globalCustomLanguage);
  set("SSH_USER", request.settings.username);
  set("SSH_HOST", request._host);
  set("SSH_PORT", portText(request.settings.port));
  // SECURITY: anything more of our environment would hand the caller's tokens and LD_PRELOAD to ssh.
  for (const char* inherited : {"SSH_AUTH_SOCK", "LOGNAME", "HOME"}) {
    if (const auto value = platform::environmentValue(inherited)) set(inherited, *value);
  }
  return environment;
}

}  // namespace

platform::ChildOptions sshInvocation(const Request& request) {
  return {.program = programFor(request),
          .arguments = argumentsFor(request),
          .environment = environmentFor(request)};
}

}  // namespace quelto::launcher
