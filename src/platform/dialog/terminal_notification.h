#pragma once

#include <cstdint>
#include <memory>

#include "platform/dialog/notification.h"

namespace quelto::platform {

/// Prepares the question on the controlling terminal, which is opened by its name; it is printed when the
/// answer is waited for. End of input cancels. A field may be left as it is, the check box defaults to its
/// state in `flags`, a question without a field must be answered. Null when there is no such terminal or when
/// this process is not in its foreground group, where reading would stop it.
[[nodiscard]] std::unique_ptr<UserNotification> openTerminalNotification(
    std::uint32_t flags, const NotificationDictionary& dictionary, const TerminalWords& words);

}  // namespace quelto::platform
