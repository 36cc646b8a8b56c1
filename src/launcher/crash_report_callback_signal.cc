#include "launcher/crash_report_callback_signal.h"

#include "platform/dialog/bell_signal.h"
#include "platform/dialog/terminal_modes_signal.h"

namespace quelto::launcher {

constinit CrashReporter crashReporter;

void crashReportCallback(std::string_view report, std::string_view date,
                         crash::CrashHandler::Completion complete) {
  // First, since the person may type on while the report is sent.
  platform::restoreTerminalModes();
  crashReporter.crashClient->crashReport(date, std::nullopt, crashReporter.full_version, report);
  platform::beep();
  complete();
}

}  // namespace quelto::launcher
