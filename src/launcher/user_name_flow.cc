#include "launcher/user_name_flow.h"

#include <chrono>
#include <functional>
#include <utility>

#include "launcher/host_accounts.h"
#include "launcher/look_up.h"
#include "launcher/marker_file.h"
#include "platform/threads/background.h"
#include "ui/dialogs.h"

namespace quelto::launcher {
namespace {

constexpr std::chrono::seconds lookUpLimit{5};

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

/// Runs the task in the background; `finish` gets its count back when it ends.
void startTask(std::function<void()> task, platform::Semaphore& finish) {
  platform::runInBackground([task = std::move(task), &finish] {
    task();
    finish.signal();
  });
}

/// Puts the answer's tick into effect. `finish` gets its count back at once or when that is done.
void remember(const ui::FieldAnswer& answer, const HostAccounts& accounts, const Request& request,
              platform::Semaphore& finish) {
  if (!answer.remember) {
    startTask([accounts] { accounts.deleteAccount(); }, finish);
  } else if (answer.text.empty()) {
    finish.signal();
  } else {
    startTask(
        [accounts, username = answer.text, identifyFile = request.identifyFile, host = request._host] {
          accounts.saveAccount(username);
          writeMarkerFile(identifyFile, host);
        },
        finish);
  }
}

}  // namespace

std::string findUserName(const Request& request, const Program& program, platform::Semaphore& finish) {
  const HostAccounts accounts(request, program);
  for (;;) {
    finish.wait();
    std::string username = lookedUp([accounts] { return accounts.loadSavedAccount(); }, lookUpLimit, finish);
    if (!username.empty()) {
      writeMarkerFile(request.identifyFile, request._host);
    } else {
      username = lookedUp([accounts] { return accounts.loadPasswordAccount(); }, lookUpLimit, finish);
    }
    if (!username.empty()) {
      finish.signal();
      return username;
    }
    ui::FieldAnswer answer = askForUserName(request._host, program);
    remember(answer, accounts, request, finish);
    if (!answer.text.empty()) return std::move(answer.text);
  }
}

}  // namespace quelto::launcher
