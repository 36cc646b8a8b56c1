#include "ui/dialogs.h"

#include "platform/dialog/user_notification.h"
#include "platform/text/harmless_text.h"
#include "ui/error_line.h"
#include "ui/localized_strings.h"
#include "ui/text_format.h"
#include "util/paths.h"

namespace quelto::ui {
namespace {

constexpr std::uint32_t fieldDialogFlags =
    platform::kCFUserNotificationPlainAlertLevel | platform::firstCheckBoxFlag;
static_assert(fieldDialogFlags == 0x103);

/// A format from a table, filled with values from outside.
std::string filled(const std::string& format, const std::vector<std::string>& arguments) {
  std::vector<std::string> harmless;
  harmless.reserve(arguments.size());
  // SECURITY: a host name could otherwise break the line or turn the reading direction, and so write a part
  // of the message itself.
  for (const std::string& argument : arguments) harmless.push_back(platform::terminalText(argument));
  return formatted(format, harmless);
}

platform::TerminalWords terminalWords() {
  // Not from the dialog's table: all questions on a terminal are answered in the same way.
  const auto word = [](const char* key, const char* value) { return localizedString(key, "", value); };
  return {.yes = {word("terminal_yes_letter", "y"), word("button_yes", "Yes")},
          .no = {word("terminal_no_letter", "n"), word("button_no", "No")},
          .hintDefaultYes = word("terminal_yes_no_default_yes", "[Y/n]"),
          .hint = word("terminal_yes_no", "[y/n]")};
}

platform::NotificationDictionary dictionaryOf(const FieldDialog& dialog) {
  const auto text = [&dialog](const std::string& name, const std::string& value) {
    return localizedString(name, dialog.localizedTable, value);
  };
  return {
      {platform::kCFUserNotificationAlertHeaderKey,
       filled(text(dialog.titleId, dialog.titleDefault), dialog.arguments)},
      {platform::kCFUserNotificationIconURLKey,
       util::appendingPathComponent(dialog.resourceUrl, dialog.iconId)},
      {platform::kCFUserNotificationAlertMessageKey,
       filled(text(dialog.messageId, dialog.messageDefault), dialog.arguments)},
      {platform::kCFUserNotificationDefaultButtonTitleKey, text(dialog.buttonOKId, dialog.buttonOKDefault)},
      {platform::kCFUserNotificationAlternateButtonTitleKey,
       text(dialog.buttonCancelId, dialog.buttonCancelDefault)},
      {platform::kCFUserNotificationOtherButtonTitleKey, ""},
      {platform::kCFUserNotificationTextFieldTitlesKey, text(dialog.fieldTitleId, dialog.fieldTitleDefault)},
      {platform::kCFUserNotificationCheckBoxTitlesKey,
       text(dialog.checkRememberId, dialog.checkRememberDefault)},
      {platform::kCFUserNotificationTextFieldValuesKey, dialog.fieldValue},
  };
}

bool isDefaultButton(std::uint32_t flags) {
  return (flags & platform::responseButtonMask) == platform::kCFUserNotificationDefaultResponse;
}

}  // namespace

FieldAnswer showFieldDialog(const FieldDialog& dialog) {
  const auto notification =
      platform::CFUserNotificationCreate(fieldDialogFlags, dictionaryOf(dialog), terminalWords());
  if (notification == nullptr) failWith(createDialogFailed, dialog.localizedTable);
  const auto response = notification->receiveResponse();
  if (!response) failWith(displayDialogFailed, dialog.localizedTable);
  if (!isDefaultButton(response->flags)) failWith(canceled, dialog.localizedTable);
  return {.text = response->fieldText.value_or(""),
          .remember = (response->flags & platform::firstCheckBoxFlag) != 0};
}

void showAlertDialog(const AlertDialog& dialog) {
  const auto text = [&dialog](const std::string& name, const std::string& value) {
    return localizedString(name, dialog.table, value);
  };
  const auto flags = platform::CFUserNotificationDisplayAlert(
      platform::kCFUserNotificationCautionAlertLevel,
      {.iconURL = util::appendingPathComponent(dialog.resourceUrl, dialog.iconId),
       .header = filled(text(dialog.titleId, dialog.titleDefault), dialog.arguments),
       .message = filled(text(dialog.messageId, dialog.messageDefault), dialog.arguments),
       .defaultButton = text(dialog.buttonYesId, dialog.buttonYesDefault),
       .alternateButton = text(dialog.buttonNoId, dialog.buttonNoDefault)},
      terminalWords());
  if (!dialog.action) return;
  dialog.action(flags ? std::optional(isDefaultButton(*flags)) : std::nullopt);
}

}  // namespace quelto::ui
