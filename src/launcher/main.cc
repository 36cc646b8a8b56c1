#include <string>
#include <vector>

#include "launcher/banner.h"
#include "launcher/crash_reports.h"
#include "launcher/program.h"
#include "launcher/request.h"
#include "launcher/ssh_invocation.h"
#include "launcher/ssh_run.h"
#include "launcher/user_name_flow.h"
#include "platform/children/caller_watch.h"
#include "platform/files/standard_streams.h"
#include "platform/signals/leave_signal.h"
#include "platform/signals/signals.h"
#include "platform/threads/semaphore.h"
#include "platform/user/environment.h"
#include "ui/error_line.h"
#include "ui/localized_strings.h"

int main(int argc, char** argv) {
  using namespace quelto;

  if (!platform::openMissingStandardStreams()) return 255;
  platform::rememberSignalsAtStart();
  platform::rememberCaller();

  const launcher::Program program = launcher::thisProgram();
  launcher::installCrashReports(program);
  if (argc < 2) return platform::writeStandardOutput(launcher::banner(program.full_version)) ? 0 : 255;

  ui::globalCustomLanguage = platform::environmentValue("AUTH_LANGUAGE").value_or("");
  const std::vector<std::string> words(argv + 1, argv + argc);
  auto request = launcher::readRequest(words);
  if (!request) ui::failWith(ui::invalidEnvironment, program.localizedTable);

  std::string& username = request->settings.username;
  // Holds one count while no background task is pending.
  platform::Semaphore finish(1);
  if (username.empty()) username = launcher::findUserName(*request, program, finish);

  const auto status = launcher::runSsh(launcher::sshInvocation(*request), finish);
  if (!status) ui::failWith(ui::runSshFailed, program.localizedTable);
  platform::leave(*status);
}
