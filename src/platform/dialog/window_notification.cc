#include "platform/dialog/window_notification.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "platform/bundle/bundle.h"
#include "platform/children/child_options.h"
#include "platform/children/child_process.h"
#include "platform/dialog/dialog_protocol.h"
#include "platform/dialog/question_watch.h"
#include "platform/files/descriptor_io.h"
#include "platform/files/descriptors.h"
#include "platform/signals/signals.h"
#include "platform/text/harmless_text.h"
#include "platform/text/utf8.h"
#include "platform/threads/deadline.h"
#include "platform/user/environment.h"

namespace quelto::platform {
namespace {

/// How long a window may take to come up: far longer than a cold start on a slow remote display.
constexpr std::chrono::seconds windowLimit{15};

bool hasDisplay() {
  const auto isSet = [](const char* name) { return !environmentValue(name).value_or("").empty(); };
  return isSet("WAYLAND_DISPLAY") || isSet("DISPLAY");
}

/// The frame that asks the program; empty when the module for property lists is missing.
std::string requestOf(std::uint32_t flags, const NotificationDictionary& dictionary) {
  PropertyListDictionary request{{std::string(dialog::flagsKey), std::uint64_t{flags}}};
  for (const auto& [key, text] : dictionary) {
    const std::string shown = displayableText(beginningOf(text, dialog::maximumTextLength));
    request.insert_or_assign(std::string(key), std::string(beginningOf(shown, dialog::maximumTextLength)));
  }
  return dialog::frameOf(request);
}

class WindowNotification final : public UserNotification {
 public:
  explicit WindowNotification(std::string request) : pending_(std::move(request)) {}

  ~WindowNotification() override {
    if (!isLaunched_) return;
    child_.kill();
    (void)child_.waitUntilExit();
  }

  /// Starts the program and waits until the window is drawn; false when it cannot be.
  [[nodiscard]] bool show() {
    if (!launch()) return false;
    const auto answer = nextAnswer(Deadline(windowLimit));
    return answer && textAt(*answer, dialog::stateKey) == dialog::shown;
  }

  [[nodiscard]] std::optional<NotificationResponse> receiveResponse() override {
    const auto answer = nextAnswer(Deadline::never());
    if (!answer || textAt(*answer, dialog::stateKey) != dialog::answered) return std::nullopt;
    const std::uint64_t flags =
        numberAt(*answer, dialog::flagsKey).value_or(kCFUserNotificationCancelResponse);
    return NotificationResponse{.flags = static_cast<std::uint32_t>(flags),
                                .fieldText = textAt(*answer, dialog::fieldTextKey)};
  }

 private:
  bool launch() {
    const auto program = Bundle::mainBundle().pathForResource(std::string(dialog::programName));
    Pipe request = makePipe();
    Pipe answers = makePipe();
    // The streams belong to the tunnel: no toolkit may read from them or write to them.
    const UniqueFd null = movedUp(openNullDevice());
    const UniqueFd requestEnd = movedUp(std::move(request.readEnd));
    const UniqueFd answerEnd = movedUp(std::move(answers.writeEnd));
    if (!program || !null || !requestEnd || !answerEnd) return false;
    isLaunched_ = child_.launch({.program = *program,
                                 .arguments = {},
                                 .environment = environmentEntries(),
                                 .descriptors = {{null.get(), STDIN_FILENO},
                                                 {null.get(), STDOUT_FILENO},
                                                 {null.get(), STDERR_FILENO},
                                                 {requestEnd.get(), dialog::requestDescriptor},
                                                 {answerEnd.get(), dialog::answerDescriptor}}});
    request_ = std::move(request.writeEnd);
    answers_ = std::move(answers.readEnd);
    return isLaunched_ && makeNonBlocking(request_.get());
  }

  /// The program's next answer. Absent when the program is gone or breaks the protocol, nobody wants the
  /// answer any more, or the deadline has passed.
  std::optional<PropertyListDictionary> nextAnswer(const Deadline& deadline) {
    for (;;) {
      if (auto answer = reader_.next()) return answer;
      std::array<pollfd, 2> requests{
          pollfd{.fd = answers_.get(), .events = POLLIN, .revents = 0},
          pollfd{.fd = pending_.empty() ? -1 : request_.get(), .events = POLLOUT, .revents = 0}};
      if (!watch_.pollUntil(requests, deadline)) return std::nullopt;
      if (requests[1].revents != 0) sendRequest();
      if (requests[0].revents != 0 && !readAnswers()) return std::nullopt;
    }
  }

  void sendRequest() {
    const IgnoredBrokenPipe ignored;
    if (const auto count = writeSome(request_.get(), pending_)) {
      pending_.erase(0, *count);
    } else if (errno != EAGAIN) {
      // The program is gone; the end of its answers says so.
      pending_.clear();
    }
  }

  bool readAnswers() {
    std::array<char, 4096> buffer;
    const auto count = readSome(answers_.get(), buffer);
    if (!count || *count == 0) return false;
    reader_.append({buffer.data(), *count});
    return !reader_.isBroken();
  }

  QuestionWatch watch_;
  ChildProcess child_;
  bool isLaunched_ = false;
  UniqueFd request_;
  UniqueFd answers_;
  std::string pending_;
  dialog::FrameReader reader_;
};

}  // namespace

std::unique_ptr<UserNotification> showWindowNotification(std::uint32_t flags,
                                                         const NotificationDictionary& dictionary) {
  if (!hasDisplay()) return nullptr;
  std::string request = requestOf(flags, dictionary);
  if (request.empty()) return nullptr;
  auto notification = std::make_unique<WindowNotification>(std::move(request));
  return notification->show() ? std::move(notification) : nullptr;
}

}  // namespace quelto::platform
