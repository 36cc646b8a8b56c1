#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/dialog/notification.h"

/// Modal questions to the person: in a window, which a program of its own draws, or on the controlling
/// terminal. Main thread only.
namespace quelto::platform {

/// Shows the question in a window; without a window it is prepared on the controlling terminal. It has a
/// field and a check box if the dictionary has titles for them, even empty ones. Texts may be of any length.
/// Null when there is neither window nor terminal. Gives up a display that does not answer after 15 seconds.
[[nodiscard]] std::unique_ptr<UserNotification> CFUserNotificationCreate(
    std::uint32_t flags, const NotificationDictionary& dictionary, const TerminalWords& words);

/// The texts of a question with two buttons and nothing else.
struct NotificationAlert {
  std::string iconURL;
  std::string header;
  std::string message;
  std::string defaultButton;
  std::string alternateButton;
};

/// Shows the question, waits for the answer and returns its flags; `kCFUserNotificationCancelResponse` when
/// the question was lost after it had been shown or nobody wants an answer any more. Absent when it could
/// not be shown.
[[nodiscard]] std::optional<std::uint32_t> CFUserNotificationDisplayAlert(std::uint32_t flags,
                                                                          const NotificationAlert& alert,
                                                                          const TerminalWords& words);

}  // namespace quelto::platform
