#include "launcher/user_name_flow.h"

#include "launcher/process_values.h"
#include "ui/dialogs.h"

namespace quelto::launcher {
namespace {

ui::FieldAnswer askForUserName(const ProcessValues& values) {
  return ui::showFieldDialog({.iconId = "prompt.png",
                              .titleId = "title_ssh_username",
                              .titleDefault = "The SSH username is required",
                              .messageId = "message_ssh_username",
                              .messageDefault = "Please type username for SSH host '%@' to connect.",
                              .arguments = {values._host},
                              .fieldTitleId = "field_ssh_username",
                              .fieldTitleDefault = "SSH username:",
                              .fieldValue = values.username,
                              .checkRememberId = "remember_ssh_username",
                              .checkRememberDefault = "Remember SSH username in key chain.",
                              .buttonOKId = "button_ok",
                              .buttonOKDefault = "OK",
                              .buttonCancelId = "button_cancel",
                              .buttonCancelDefault = "Cancel",
                              .localizedTable = values.localizedTable,
                              .resourceUrl = values.resourceUrl});
}

}  // namespace

void requireUserName(ProcessValues& values) {
  // The look-ups in the stores come before the dialog, and the answer is remembered or forgotten behind it,
  // once there are stores; until then the tick has no effect.
  while (values.username.empty()) values.username = askForUserName(values).text;
}

}  // namespace quelto::launcher
