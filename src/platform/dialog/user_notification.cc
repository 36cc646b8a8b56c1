#include "platform/dialog/user_notification.h"

#include "platform/dialog/question_watch.h"
#include "platform/dialog/terminal_notification.h"
#include "platform/dialog/window_notification.h"

namespace quelto::platform {

std::unique_ptr<UserNotification> CFUserNotificationCreate(std::uint32_t flags,
                                                           const NotificationDictionary& dictionary,
                                                           const TerminalWords& words) {
  if (auto window = showWindowNotification(flags, dictionary)) return window;
  if (areQuestionsAbandoned()) return nullptr;
  return openTerminalNotification(flags, dictionary, words);
}

std::optional<std::uint32_t> CFUserNotificationDisplayAlert(std::uint32_t flags,
                                                            const NotificationAlert& alert,
                                                            const TerminalWords& words) {
  if (areQuestionsAbandoned()) return kCFUserNotificationCancelResponse;
  const auto notification =
      CFUserNotificationCreate(flags,
                               {{kCFUserNotificationAlertHeaderKey, alert.header},
                                {kCFUserNotificationIconURLKey, alert.iconURL},
                                {kCFUserNotificationAlertMessageKey, alert.message},
                                {kCFUserNotificationDefaultButtonTitleKey, alert.defaultButton},
                                {kCFUserNotificationAlternateButtonTitleKey, alert.alternateButton}},
                               words);
  // Not absent: whoever asks takes that for leave to go on, and nobody has given it.
  if (areQuestionsAbandoned()) return kCFUserNotificationCancelResponse;
  if (notification == nullptr) return std::nullopt;
  const auto response = notification->receiveResponse();
  return response ? response->flags : kCFUserNotificationCancelResponse;
}

}  // namespace quelto::platform
