#include <cstdio>
#include <string>
#include <string_view>

#include "platform/bundle/bundle.h"
#include "platform/user/environment.h"
#include "ui/dialogs.h"
#include "ui/localized_strings.h"

/// Asks one question as the tool does, and prints the answer: `dialog_driver field HOST VALUE` or
/// `dialog_driver alert [QUESTION]`, the question being "gen_rsa_key" or "new_rsa_key". The language comes
/// from AUTH_LANGUAGE.
int main(int argc, char** argv) {
  using namespace quelto;
  const std::string_view kind = argc > 1 ? argv[1] : "";
  const std::string resources = platform::Bundle::mainBundle().resourceFolder();
  ui::globalCustomLanguage = platform::environmentValue("AUTH_LANGUAGE");
  if (kind == "field" && argc == 4) {
    const ui::FieldAnswer answer = ui::showFieldDialog({.iconId = "prompt.png",
                                                        .titleId = "title_ssh_username",
                                                        .titleDefault = "The SSH username is required",
                                                        .messageId = "message_ssh_username",
                                                        .messageDefault = "Host '%@'",
                                                        .arguments = {argv[2]},
                                                        .fieldTitleId = "field_ssh_username",
                                                        .fieldTitleDefault = "SSH username:",
                                                        .fieldValue = argv[3],
                                                        .checkRememberId = "remember_ssh_username",
                                                        .checkRememberDefault = "Remember",
                                                        .buttonOKId = "button_ok",
                                                        .buttonOKDefault = "OK",
                                                        .buttonCancelId = "button_cancel",
                                                        .buttonCancelDefault = "Cancel",
                                                        .localizedTable = "vantorSuiteSSH",
                                                        .resourceUrl = resources});
    std::printf("[%s] %s\n", answer.text.c_str(), answer.remember ? "remember" : "forget");
    return 0;
  }
  const std::string question = argc > 2 ? argv[2] : "gen_rsa_key";
  ui::showAlertDialog({.iconId = "warning.png",
                       .titleId = question + "_title",
                       .titleDefault = "Failed to read the secure key pair",
                       .messageId = question + "_mesg",
                       .messageDefault = "Do you want to generate a new secure key pair?",
                       .arguments = {},
                       .buttonYesId = "button_yes",
                       .buttonYesDefault = "Yes",
                       .buttonNoId = "button_no",
                       .buttonNoDefault = "No",
                       .resourceUrl = resources,
                       .table = "",
                       .action = [](std::optional<bool> yes) {
                         std::printf("%s\n", !yes ? "absent" : *yes ? "true" : "false");
                       }});
  return 0;
}
