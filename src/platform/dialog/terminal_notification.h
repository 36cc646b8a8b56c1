#pragma once

#include <cstdint>
#include <memory>

#include "platform/dialog/notification.h"

namespace quelto::platform {

/// Opens the controlling terminal for the question, which `receiveResponse` prints. End of input (Ctrl-D)
/// cancels. An empty line keeps the field's value and the check box's state in `flags`; a question without a
/// field needs an answer. Null when there is no controlling terminal or this process is not in its foreground
/// group, where reading would stop it.
[[nodiscard]] std::unique_ptr<UserNotification> openTerminalNotification(
    std::uint32_t flags, const NotificationDictionary& dictionary, const TerminalWords& words);

}  // namespace quelto::platform
