#pragma once

#include <string>

#include "launcher/program.h"
#include "launcher/request.h"
#include "platform/threads/semaphore.h"

namespace quelto::launcher {

/// The user name for a host that nothing names the user of; never empty. It is looked up in the store, at
/// most five seconds each for a remembered name and for the account of a password, before the person is
/// asked. Their answer is remembered, or what was remembered is forgotten, in the background. Ends the
/// process when they give no answer, see `ui::showFieldDialog`.
///
/// `finish` holds one count while no background task is pending, as it must at first. It is without one from
/// the return until the last task has ended. It must live as long as the process. Main thread only.
[[nodiscard]] std::string findUserName(const Request& request, const Program& program,
                                       platform::Semaphore& finish);

}  // namespace quelto::launcher
