#pragma once

#include "launcher/request.h"
#include "platform/children/child_options.h"

namespace quelto::launcher {

/// The program, arguments and environment of ssh for a request whose user name is known. SSH_ORIGINAL
/// overrides the program, and for the bare name "ssh" the login shell is asked and waited for.
[[nodiscard]] platform::ChildOptions sshInvocation(const Request& request);

}  // namespace quelto::launcher
