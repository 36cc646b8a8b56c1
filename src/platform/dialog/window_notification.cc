#include "platform/dialog/window_notification.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>

#include "platform/bundle/bundle.h"
#include "platform/children/child_options.h"
#include "platform/children/child_process.h"
#include "platform/dialog/dialog_protocol.h"
#include "platform/files/descriptors.h"
#include "platform/signals/signals.h"
#include "platform/text/harmless_text.h"
#include "platform/text/utf8.h"
#include "platform/user/environment.h"

namespace quelto::platform {
namespace {

using Clock = std::chrono::steady_clock;
using Deadline = std::optional<Clock::time_point>;

/// How long a window may take to come up; far above a cold start on a slow remote display.
constexpr std::chrono::seconds windowLimit{15};

bool hasDisplay() {
  const auto isSet = [](const char* name) { return !environmentValue(name).value_or("").empty(); };
  return isSet("WAYLAND_DISPLAY") || isSet("DISPLAY");
}

/// Empty when it cannot be written down.
std::string requestOf(std::uint32_t flags, const NotificationDictionary& dictionary) {
  PropertyListDictionary request{{std::string(dialog::flagsKey), std::uint64_t{flags}}};
  for (const auto& [key, text] : dictionary) {
    const std::string shown = displayableText(beginningOf(text, dialog::maximumTextLength));
    request.insert_or_assign(std::string(key), std::string(beginningOf(shown, dialog::maximumTextLength)));
  }
  return dialog::frameOf(request);
}

/// The milliseconds left, as poll takes them; -1 without a deadline.
int untilDeadline(const Deadline& deadline) {
  if (!deadline) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
  return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

class WindowNotification final : public UserNotification {
 public:
  explicit WindowNotification(std::string request) : pending_(std::move(request)) {}

  ~WindowNotification() override {
    if (!isLaunched_) return;
    child_.kill();
    (void)child_.waitUntilExit();
  }

  /// Starts the program and waits until the window stands or cannot come.
  [[nodiscard]] bool show() {
    if (!launch()) return false;
    const auto answer = nextAnswer(Clock::now() + windowLimit);
    return answer && textAt(*answer, dialog::stateKey) == dialog::shown;
  }

  [[nodiscard]] std::optional<NotificationResponse> receiveResponse() override {
    const auto answer = nextAnswer(std::nullopt);
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
    // The streams are the tunnel's: nothing of a toolkit's may be read from them or written to them.
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

  /// The program's next answer. Absent when the program has gone, breaks the protocol, or the deadline has
  /// passed.
  std::optional<PropertyListDictionary> nextAnswer(const Deadline& deadline) {
    for (;;) {
      if (auto answer = reader_.next()) return answer;
      std::array<pollfd, 2> requests{
          pollfd{.fd = answers_.get(), .events = POLLIN, .revents = 0},
          pollfd{.fd = pending_.empty() ? -1 : request_.get(), .events = POLLOUT, .revents = 0}};
      const int ready = ::poll(requests.data(), requests.size(), untilDeadline(deadline));
      if (ready < 0 && errno == EINTR) continue;
      if (ready <= 0) return std::nullopt;
      if (requests[1].revents != 0) sendRequest();
      if (requests[0].revents != 0 && !readAnswers()) return std::nullopt;
    }
  }

  void sendRequest() {
    const IgnoredBrokenPipe ignored;
    const ssize_t count = ::write(request_.get(), pending_.data(), pending_.size());
    if (count >= 0) {
      pending_.erase(0, static_cast<std::size_t>(count));
    } else if (errno != EAGAIN && errno != EINTR) {
      // The program has gone; the end of its answers will tell.
      pending_.clear();
    }
  }

  bool readAnswers() {
    std::array<char, 4096> buffer;
    const ssize_t count = ::read(answers_.get(), buffer.data(), buffer.size());
    if (count < 0) return errno == EINTR;
    reader_.append({buffer.data(), static_cast<std::size_t>(count)});
    return count > 0 && !reader_.isBroken();
  }

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
