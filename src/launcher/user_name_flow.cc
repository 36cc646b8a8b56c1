#include "launcher/user_name_flow.h"

#include "ui/dialogs.h"

namespace quelto::launcher {
namespace {

ui::FieldAnswer askForUserName(const std::string& host, const Program& program) {
  return ui::showFieldDialog({.iconId = "prompt.png",
                              .titleId = "title_ssh_username",
                              .titleDefault = "The SSH username is required",
                              .messageId = "message_ssh_username",
                              .messageDefault = "Please type username for SSH host '%@' to connect.",
                              .arguments = {host},
                              .fieldTitleId = "field_ssh_username",
                              .fieldTitleDefault = "SSH username:",
                              .fieldValue = "",
                              .checkRememberId = "remember_ssh_username",
                              .checkRememberDefault = "Remember SSH username in key chain.",
                              .buttonOKId = "button_ok",
                              .buttonOKDefault = "OK",
                              .buttonCancelId = "button_cancel",
                              .buttonCancelDefault = "Cancel",
                              .localizedTable = program.localizedTable,
                              .resourceUrl = program.resourceUrl});
}

}  // namespace

std::string findUserName(const std::string& host, const Program& program) {
  std::string username;
  // The answer's tick has no effect: nothing is remembered yet.
  while (username.empty()) username = askForUserName(host, program).text;
  return username;
}

}  // namespace quelto::launcher
