#include "launcher/ssh_run.h"

#include <chrono>
#include <initializer_list>
#include <iterator>
#include <string_view>

#include "launcher/forwarding_signal.h"
#include "launcher/process_values.h"
#include "launcher/ssh_locator.h"
#include "platform/bundle/bundle.h"
#include "platform/children/child_options.h"
#include "platform/signals/reset_signal.h"
#include "platform/signals/signals.h"
#include "platform/user/environment.h"
#include "ui/error_line.h"
#include "ui/localized_strings.h"
#include "util/strings.h"

namespace quelto::launcher {
namespace {

/// How long a background save or delete may hold up the exit.
constexpr std::chrono::seconds finishLimit{10};

constexpr const char* askPassHelper = "queltoAut";

void insertAtFront(std::vector<std::string>& words, std::initializer_list<std::string> inserted) {
  words.insert(words.begin(), inserted);
}

std::string portText(const ProcessValues& values) {
  return values.port == 0 ? "22" : std::to_string(values.port);
}

/// Starts ssh and routes the forwarded signals to it; no such signal can fall between the two.
bool launchTask(const ProcessValues& values) {
  // SECURITY: the list of servers or SSH_ORIGINAL may lead back to this tool, which would start itself
  // without end.
  if (isThisTool(values.sshCommand)) return false;
  const platform::ChildOptions options{
      .program = values.sshCommand, .arguments = values.arguments, .environment = childEnvironment(values)};
  const platform::BlockedSignals held(forwardedSignals);
  const bool launched = task.launch(options);
  if (launched) platform::routeSignals(forwardedSignals, signalReceived);
  return launched;
}

void waitForBackgroundWork(ProcessValues& values) {
  // Whether it came to its end or ran out of time: the status is ssh's either way.
  (void)values.finish->waitFor(finishLimit);
}

}  // namespace

void completeArguments(ProcessValues& values) {
  std::vector<std::string>& words = values.arguments;
  if (values.port != 0) insertAtFront(words, {"-p", std::to_string(values.port)});
  if (!values.identify.empty()) insertAtFront(words, {"-i", values.identify});
  insertAtFront(words, {"-l", values.username});
  words.push_back(values.username + "@" + values._host);
  words.insert(words.end(), values.command.begin(), values.command.end());
}

void chooseSshProgram(ProcessValues& values) {
  if (const auto original = platform::environmentValue("SSH_ORIGINAL")) {
    values.sshCommand = util::trimWhitespace(*original);
  }
  if (values.sshCommand == "ssh") values.sshCommand = find();
}

std::vector<std::string> childEnvironment(const ProcessValues& values) {
  std::vector<std::string> environment;
  const auto set = [&environment](std::string_view name, std::string_view value) {
    environment.push_back(std::string(name) + "=" + std::string(value));
  };
  set("LC_ALL", "en_US.UTF-8");
  set("LANG", "en_US.UTF-8");
  set("DISPLAY", "NONE");
  set("AUT_APPGROUP", values.group_Id);
  if (const auto helper = platform::Bundle::mainBundle().pathForResource(askPassHelper)) {
    set("SSH_ASKPASS", *helper);
  }
  set("USER", values.loginName);
  set("AUTH_KEYCHAIN", values.identifyFile);
  if (ui::globalCustomLanguage) set("AUTH_LANGUAGE", *ui::globalCustomLanguage);
  set("SSH_USER", values.username);
  set("SSH_HOST", values._host);
  set("SSH_PORT", portText(values));
  // SECURITY: whatever else our environment holds (LD_PRELOAD, tokens of the caller) must not reach ssh.
  for (const char* inherited : {"SSH_AUTH_SOCK", "LOGNAME", "HOME"}) {
    if (const auto value = platform::environmentValue(inherited)) set(inherited, *value);
  }
  return environment;
}

int runSsh(ProcessValues& values) {
  if (!launchTask(values)) {
    waitForBackgroundWork(values);
    ui::failWith(ui::runSshFailed, values.localizedTable);
  }
  const int status = task.waitUntilExit();
  platform::resetSignals(forwardedSignals);
  waitForBackgroundWork(values);
  return status;
}

}  // namespace quelto::launcher
