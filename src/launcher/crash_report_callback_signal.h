#pragma once

#include <string_view>

#include "crash/crash_client.h"
#include "crash/crash_handler_signal.h"
#include "platform/call_stack/fixed_text.h"

namespace quelto::launcher {

/// What a report is sent through and says of this program. Set before the signals are routed; lives as long
/// as the process.
struct CrashReporter {
  const crash::CrashClient* crashClient = nullptr;
  platform::FixedText<63> full_version;
};
extern CrashReporter crashReporter;

/// Gives the terminal back, sends the report and beeps. Signal-safe.
void crashReportCallback(std::string_view report, std::string_view date,
                         crash::CrashHandler::Completion complete);

}  // namespace quelto::launcher
