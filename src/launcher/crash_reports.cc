#include "launcher/crash_reports.h"

#include "crash/crash_socket.h"
#include "launcher/crash_report_callback_signal.h"
#include "util/suite.h"

namespace quelto::launcher {

void installCrashReports(const Program& program) {
  // Never destroyed: the handler may run until the process ends.
  crashReporter.crashClient =
      new crash::CrashClient(util::builtInGroupId, crash::socketGroupSuffix, crash::socketFileName);
  crashReporter.full_version.append(program.full_version);
  crash::CrashHandler::setup(crashReportCallback);
}

}  // namespace quelto::launcher
