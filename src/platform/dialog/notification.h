#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a question to the person consists of, however it is shown.
namespace quelto::platform {

/// The texts of a notification. The keys are these constants.
using NotificationDictionary = std::map<std::string_view, std::string>;

inline constexpr std::string_view kCFUserNotificationAlertHeaderKey = "AlertHeader";
inline constexpr std::string_view kCFUserNotificationIconURLKey = "IconURL";
inline constexpr std::string_view kCFUserNotificationAlertMessageKey = "AlertMessage";
inline constexpr std::string_view kCFUserNotificationDefaultButtonTitleKey = "DefaultButtonTitle";
inline constexpr std::string_view kCFUserNotificationAlternateButtonTitleKey = "AlternateButtonTitle";
inline constexpr std::string_view kCFUserNotificationOtherButtonTitleKey = "OtherButtonTitle";
inline constexpr std::string_view kCFUserNotificationTextFieldTitlesKey = "TextFieldTitles";
inline constexpr std::string_view kCFUserNotificationCheckBoxTitlesKey = "CheckBoxTitles";
inline constexpr std::string_view kCFUserNotificationTextFieldValuesKey = "TextFieldValues";

/// The low two bits of a notification's flags: the level.
inline constexpr std::uint32_t levelMask = 3;
inline constexpr std::uint32_t kCFUserNotificationCautionAlertLevel = 2;
inline constexpr std::uint32_t kCFUserNotificationPlainAlertLevel = 3;
/// The low two bits of a response's flags: the button.
inline constexpr std::uint32_t responseButtonMask = 3;
inline constexpr std::uint32_t kCFUserNotificationDefaultResponse = 0;
inline constexpr std::uint32_t kCFUserNotificationAlternateResponse = 1;
inline constexpr std::uint32_t kCFUserNotificationCancelResponse = 3;
/// In both: the check box is ticked.
inline constexpr std::uint32_t firstCheckBoxFlag = 0x100;

/// The words that only the terminal needs, in the person's language.
struct TerminalWords {
  /// What may be typed for yes and for no, in upper or lower case. "y", "yes", "n" and "no" always keep their
  /// meaning. For a question without a field the titles of its two buttons count as well. A word that is
  /// empty or in both lists means nothing.
  std::vector<std::string> yes;
  std::vector<std::string> no;
  /// Shown after a question that an empty line answers with yes, and after one that needs an answer.
  std::string hintDefaultYes = "[Y/n]";
  std::string hint = "[y/n]";
};

struct NotificationResponse {
  std::uint32_t flags;
  /// The field's text; absent when there was no field or no text came back.
  std::optional<std::string> fieldText;
};

/// A question that has been put to the person. Destroying it takes it away. Main thread only.
class UserNotification {
 public:
  UserNotification() = default;
  virtual ~UserNotification() = default;
  UserNotification(const UserNotification&) = delete;
  UserNotification& operator=(const UserNotification&) = delete;

  /// Waits for the answer without a time limit. Absent when the question was lost: the display, the terminal
  /// or the dialog's program is gone, or nobody wants the answer any more (`QuestionWatch`).
  [[nodiscard]] virtual std::optional<NotificationResponse> receiveResponse() = 0;
};

}  // namespace quelto::platform
