#pragma once

#include <cstdint>
#include <memory>

#include "platform/dialog/notification.h"

namespace quelto::platform {

/// Shows the question in a window, of overlong texts the beginning. Null when there is no display, the
/// dialog's program or the module for property lists is missing, or no window came up in time.
[[nodiscard]] std::unique_ptr<UserNotification> showWindowNotification(
    std::uint32_t flags, const NotificationDictionary& dictionary);

}  // namespace quelto::platform
