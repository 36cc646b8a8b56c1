#pragma once

#include <cstdint>
#include <memory>

#include "platform/dialog/notification.h"

namespace quelto::platform {

/// Shows the question in a window; of a text above `dialog::maximumTextLength` it shows the beginning. Null
/// when there is no display, when the dialog's program or the module for property lists is missing, or when
/// no window appears in time.
[[nodiscard]] std::unique_ptr<UserNotification> showWindowNotification(
    std::uint32_t flags, const NotificationDictionary& dictionary);

}  // namespace quelto::platform
