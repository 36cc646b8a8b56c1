#pragma once

#include "launcher/program.h"

namespace quelto::launcher {

/// Connects to the collector of crash reports, if one runs, and reports from now on each fatal signal of this
/// process to it. Main thread, once.
void installCrashReports(const Program& program);

}  // namespace quelto::launcher
