#include <cstdio>
#include <string>
#include <string_view>

#include "platform/bundle/bundle.h"
#include "platform/children/caller_watch.h"
#include "platform/user/environment.h"
#include "ui/dialogs.h"
#include "ui/localized_strings.h"

/// Asks one question with the texts of the tool's, and prints the answer: `dialog_driver field HOST VALUE` or
/// `dialog_driver alert [QUESTION]`, the question being "gen_rsa_key" or "new_rsa_key". The language comes
/// from AUTH_LANGUAGE.
int main(int argc, char** argv) {
  using namespace quelto;
  platform::rememberCaller();
  const std::string_view kind = argc > 1 ? argv[1] : "";
  const std::string resources = platform::Bundle::mainBundle().resourceFolder();
  ui::globalCustomLanguage = platform::environmentValue("AUTH_LANGUAGE");
  if (kind == "field" && argc == 4) {
    const ui::FieldAnswer answer = ui::showFieldDialog({.iconId = "prompt.png",
                                                        .titleId = "title_ssh_username",
                                                        .messageId = "message_ssh_username",
                                                        .arguments = {argv[2]},
                                                        .fieldTitleId = "field_ssh_username",
                                                        .fieldValue = argv[3],
                                                        .checkRememberId = "remember_ssh_username",
                                                        .buttonOKId = "button_ok",
                                                        .buttonCancelId = "button_cancel",
                                                        .localizedTable = "vantorSuiteSSH",
                                                        .resourceUrl = resources});
    std::printf("[%s] %s\n", answer.text.c_str(), answer.remember ? "remember" : "forget");
    return 0;
  }
  const std::string question = argc > 2 ? argv[2] : "gen_rsa_key";
  const auto print = [](std::optional<bool> yes) {
    std::printf("%s\n", !yes ? "absent" : *yes ? "true" : "false");
  };
  ui::showAlertDialog({.iconId = "warning.png",
                       .titleId = question + "_title",
                       .messageId = question + "_mesg",
                       .buttonYesId = "button_yes",
                       .buttonNoId = "button_no",
                       .resourceUrl = resources,
                       .action = print});
  return 0;
}
