#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Modal questions to the person: in a window of a program of its own, else on the controlling terminal.
namespace quelto::platform {

/// The texts of a notification, in the order of its maker.
using NotificationDictionary = std::vector<std::pair<std::string_view, std::string>>;

inline constexpr std::string_view kCFUserNotificationAlertHeaderKey = "AlertHeader";
inline constexpr std::string_view kCFUserNotificationIconURLKey = "IconURL";
inline constexpr std::string_view kCFUserNotificationAlertMessageKey = "AlertMessage";
inline constexpr std::string_view kCFUserNotificationDefaultButtonTitleKey = "DefaultButtonTitle";
inline constexpr std::string_view kCFUserNotificationAlternateButtonTitleKey = "AlternateButtonTitle";
inline constexpr std::string_view kCFUserNotificationOtherButtonTitleKey = "OtherButtonTitle";
inline constexpr std::string_view kCFUserNotificationTextFieldTitlesKey = "TextFieldTitles";
inline constexpr std::string_view kCFUserNotificationCheckBoxTitlesKey = "CheckBoxTitles";
inline constexpr std::string_view kCFUserNotificationTextFieldValuesKey = "TextFieldValues";

/// The low two bits of the flags going out are the level ...
inline constexpr std::uint32_t levelMask = 3;
inline constexpr std::uint32_t kCFUserNotificationCautionAlertLevel = 2;
inline constexpr std::uint32_t kCFUserNotificationPlainAlertLevel = 3;
/// ... and of those coming back the button.
inline constexpr std::uint32_t responseButtonMask = 3;
inline constexpr std::uint32_t kCFUserNotificationDefaultResponse = 0;
inline constexpr std::uint32_t kCFUserNotificationAlternateResponse = 1;
inline constexpr std::uint32_t kCFUserNotificationOtherResponse = 2;
inline constexpr std::uint32_t kCFUserNotificationCancelResponse = 3;
/// In both: whether the check box is ticked.
inline constexpr std::uint32_t firstCheckBoxFlag = 0x100;

/// The words that only the terminal needs, in the person's language.
struct TerminalWords {
  /// What may be typed for yes and for no, in capitals or not; "y", "yes", "n" and "no" have their meaning
  /// whatever stands here. The titles of a question's two buttons serve too where it has no field. A word
  /// that is empty, or stands for both, means nothing.
  std::vector<std::string> yes;
  std::vector<std::string> no;
  /// Shown behind a question whose answer is yes when nothing is typed, and behind one that must be answered.
  std::string hintDefaultYes = "[Y/n]";
  std::string hint = "[y/n]";
};

struct NotificationResponse {
  std::uint32_t flags;
  /// The field's text; absent when there was no field or no text came back.
  std::optional<std::string> fieldText;
};

/// A question that stands before the person. Destroying it takes it away. Main thread only.
class UserNotification {
 public:
  UserNotification() = default;
  virtual ~UserNotification() = default;
  UserNotification(const UserNotification&) = delete;
  UserNotification& operator=(const UserNotification&) = delete;

  /// Waits for the answer without a time limit. Absent when the question was lost: the display or the
  /// dialog's program has gone.
  [[nodiscard]] virtual std::optional<NotificationResponse> receiveResponse() = 0;
};

/// Shows the question in a window or, where there is none to be had, prepares it on the controlling terminal.
/// With a field when the dictionary has a title for one, be it the empty text, and with a check box likewise.
/// Texts may be of any length. Null when neither can be had. A display that hangs is given up after some
/// seconds.
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
/// the question was lost after it had been shown. Absent when it could not be shown.
[[nodiscard]] std::optional<std::uint32_t> CFUserNotificationDisplayAlert(std::uint32_t flags,
                                                                          const NotificationAlert& alert,
                                                                          const TerminalWords& words);

}  // namespace quelto::platform
