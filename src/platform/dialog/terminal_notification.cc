#include "platform/dialog/terminal_notification.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/dialog/question_watch.h"
#include "platform/dialog/terminal_modes_signal.h"
#include "platform/files/descriptor_io.h"
#include "platform/files/unique_fd.h"
#include "platform/text/harmless_text.h"
#include "platform/text/unicode.h"

namespace quelto::platform {
namespace {

/// How a question ended: with an answer, at the end of the input, or because the terminal is gone or nobody
/// wants the answer any more.
enum class Ending { answered, cancelled, lost };

/// The form in which answers are compared: lower case, without blanks at both ends.
std::string plainWord(std::string_view text) {
  constexpr std::string_view blanks = " \t\r";
  text.remove_prefix(std::min(text.size(), text.find_first_not_of(blanks)));
  return lowercased(text.substr(0, text.find_last_not_of(blanks) + 1));
}

bool isOneOf(const std::string& answer, const std::vector<std::string>& words) {
  return std::ranges::any_of(
      words, [&answer](const std::string& word) { return isCanonicallyEqual(plainWord(word), answer); });
}

/// What an answer that is not empty means. The built-in words come first, so that no table can turn "no" into
/// yes and there is always a way to answer.
std::optional<bool> meaningOf(const std::string& answer, const TerminalWords& words) {
  if (answer == "y" || answer == "yes") return true;
  if (answer == "n" || answer == "no") return false;
  const bool isYes = isOneOf(answer, words.yes);
  return isYes != isOneOf(answer, words.no) ? std::optional(isYes) : std::nullopt;
}

/// A text of a table, safe to print, on one line.
std::string printableTitle(std::string_view text) { return terminalText(joinedLines(text)); }

class TerminalNotification final : public UserNotification {
 public:
  TerminalNotification(UniqueFd terminal, std::uint32_t flags, NotificationDictionary dictionary,
                       TerminalWords words)
      : terminal_(std::move(terminal)),
        flags_(flags),
        dictionary_(std::move(dictionary)),
        words_(std::move(words)) {}

  [[nodiscard]] std::optional<NotificationResponse> receiveResponse() override {
    const TerminalModes modes(terminal_.get());
    // What was typed before the question was shown was not meant for it.
    ::tcflush(terminal_.get(), TCIFLUSH);
    for (const auto key : {kCFUserNotificationAlertHeaderKey, kCFUserNotificationAlertMessageKey}) {
      if (const std::string shown = terminalLines(textAt(key)); !shown.empty()) print(shown + "\n");
    }
    NotificationResponse response{.flags = kCFUserNotificationDefaultResponse, .fieldText = std::nullopt};
    const bool hasField = dictionary_.contains(kCFUserNotificationTextFieldTitlesKey);
    const Ending ending = hasField ? askField(response) : askButtons(response);
    if (ending == Ending::lost) return std::nullopt;
    if (ending == Ending::cancelled) {
      print("\n");
      return NotificationResponse{.flags = kCFUserNotificationCancelResponse, .fieldText = std::nullopt};
    }
    return response;
  }

 private:
  /// The text of the dictionary as it is; empty when there is none.
  [[nodiscard]] std::string textAt(std::string_view key) const {
    const auto entry = dictionary_.find(key);
    return entry != dictionary_.end() ? entry->second : "";
  }

  /// The text of the dictionary, safe to print, on one line.
  [[nodiscard]] std::string title(std::string_view key) const { return printableTitle(textAt(key)); }

  Ending askField(NotificationResponse& response) {
    const std::string value = textAt(kCFUserNotificationTextFieldValuesKey);
    std::string question = title(kCFUserNotificationTextFieldTitlesKey) + " ";
    if (!value.empty()) question.append("[").append(terminalText(value)).append("] ");
    print(question);
    std::string line;
    if (const Ending ending = readLine(line); ending != Ending::answered) return ending;
    response.fieldText = singleLineText(line.empty() ? value : line);
    const bool hasCheckBox = dictionary_.contains(kCFUserNotificationCheckBoxTitlesKey);
    return hasCheckBox ? askCheckBox(response) : Ending::answered;
  }

  Ending askCheckBox(NotificationResponse& response) {
    const bool isTicked = (flags_ & firstCheckBoxFlag) != 0;
    bool yes = isTicked;
    const Ending ending = askYesOrNo({.text = title(kCFUserNotificationCheckBoxTitlesKey),
                                      .hint = isTicked ? words_.hintDefaultYes : words_.hint,
                                      .words = words_,
                                      .byDefault = isTicked ? std::optional(true) : std::nullopt},
                                     yes);
    if (yes) response.flags |= firstCheckBoxFlag;
    return ending;
  }

  Ending askButtons(NotificationResponse& response) {
    const std::string defaultTitle = title(kCFUserNotificationDefaultButtonTitleKey);
    const std::string alternateTitle = title(kCFUserNotificationAlternateButtonTitleKey);
    TerminalWords words = words_;
    words.yes.push_back(defaultTitle);
    words.no.push_back(alternateTitle);
    bool yes = false;
    const Ending ending = askYesOrNo({.text = defaultTitle + " / " + alternateTitle,
                                      .hint = words_.hint,
                                      .words = words,
                                      .byDefault = std::nullopt},
                                     yes);
    response.flags = yes ? kCFUserNotificationDefaultResponse : kCFUserNotificationAlternateResponse;
    return ending;
  }

  struct YesOrNo {
    std::string text;
    const std::string& hint;
    const TerminalWords& words;
    /// What an empty line means; absent when it is no answer.
    std::optional<bool> byDefault;
  };

  /// Asks until there is an answer.
  Ending askYesOrNo(const YesOrNo& question, bool& yes) {
    for (;;) {
      print(question.text + " " + printableTitle(question.hint) + " ");
      std::string line;
      if (const Ending ending = readLine(line); ending != Ending::answered) return ending;
      const std::string answer = plainWord(line);
      const auto meaning = answer.empty() ? question.byDefault : meaningOf(answer, question.words);
      if (meaning) return yes = *meaning, Ending::answered;
    }
  }

  /// Reads one line, without its end. The terminal hands out whole lines; one without an end was sent by
  /// Ctrl-D and goes on.
  Ending readLine(std::string& line) {
    std::array<char, 4096> buffer;
    for (;;) {
      pollfd request{.fd = terminal_.get(), .events = POLLIN, .revents = 0};
      if (!watch_.pollUntil({&request, 1}, Deadline::never())) return Ending::lost;
      const auto count = readSome(terminal_.get(), buffer);
      // Another process has read the line, such as the shell while this one was stopped.
      if (!count && errno == EAGAIN) continue;
      if (!count) return Ending::lost;
      if (*count == 0) return Ending::cancelled;
      line.append(buffer.data(), *count);
      if (line.ends_with('\n')) return line.pop_back(), Ending::answered;
    }
  }

  void print(std::string_view text) {
    // The read that follows notices a terminal that is gone.
    (void)writeAll(terminal_.get(), text);
  }

  QuestionWatch watch_;
  UniqueFd terminal_;
  std::uint32_t flags_;
  NotificationDictionary dictionary_;
  TerminalWords words_;
};

}  // namespace

std::unique_ptr<UserNotification> openTerminalNotification(std::uint32_t flags,
                                                           const NotificationDictionary& dictionary,
                                                           const TerminalWords& words) {
  UniqueFd terminal(::open("/dev/tty", O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  if (!terminal || ::tcgetpgrp(terminal.get()) != ::getpgrp()) return nullptr;
  return std::make_unique<TerminalNotification>(std::move(terminal), flags, dictionary, words);
}

}  // namespace quelto::platform
