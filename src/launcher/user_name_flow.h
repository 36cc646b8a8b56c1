#pragma once

#include <string>

#include "launcher/program.h"

namespace quelto::launcher {

/// The user name for a host that nothing names the user of; never empty. Asks the person and ends the process
/// when they give no answer, see `ui::showFieldDialog`. Main thread only.
[[nodiscard]] std::string findUserName(const std::string& host, const Program& program);

}  // namespace quelto::launcher
