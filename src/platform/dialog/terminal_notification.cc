#include "platform/dialog/terminal_notification.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/dialog/terminal_modes_signal.h"
#include "platform/files/unique_fd.h"
#include "platform/text/harmless_text.h"
#include "platform/text/unicode.h"

namespace quelto::platform {
namespace {

/// How a question ended: with an answer, by the end of the input, or because the terminal has gone.
enum class Ending { answered, cancelled, lost };

/// A word as answers are compared: without blanks around it, in lower case.
std::string plainWord(std::string_view text) {
  constexpr std::string_view blanks = " \t\r";
  text.remove_prefix(std::min(text.size(), text.find_first_not_of(blanks)));
  return lowercased(text.substr(0, text.find_last_not_of(blanks) + 1));
}

bool isOneOf(const std::string& answer, const std::vector<std::string>& words) {
  return std::ranges::any_of(
      words, [&answer](const std::string& word) { return isCanonicallyEqual(plainWord(word), answer); });
}

/// What an answer means, one that is not empty. The built-in words come first: no table can turn a "no" into
/// a yes, and there is always a way to answer.
std::optional<bool> meaningOf(const std::string& answer, const TerminalWords& words) {
  if (answer == "y" || answer == "yes") return true;
  if (answer == "n" || answer == "no") return false;
  const bool isYes = isOneOf(answer, words.yes);
  return isYes != isOneOf(answer, words.no) ? std::optional(isYes) : std::nullopt;
}

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
    // What was typed before the question stood there was not meant for it.
    ::tcflush(terminal_.get(), TCIFLUSH);
    for (const auto key : {kCFUserNotificationAlertHeaderKey, kCFUserNotificationAlertMessageKey}) {
      if (!text(key).empty()) print(text(key) + "\n");
    }
    NotificationResponse response{.flags = kCFUserNotificationDefaultResponse, .fieldText = std::nullopt};
    const bool hasField = find(kCFUserNotificationTextFieldTitlesKey) != nullptr;
    const Ending ending = hasField ? askField(response) : askButtons(response);
    if (ending == Ending::lost) return std::nullopt;
    if (ending == Ending::cancelled) {
      print("\n");
      return NotificationResponse{.flags = kCFUserNotificationCancelResponse, .fieldText = std::nullopt};
    }
    return response;
  }

 private:
  /// Null when the dictionary has no such entry.
  [[nodiscard]] const std::string* find(std::string_view key) const {
    const auto entry = std::ranges::find(dictionary_, key, &std::pair<std::string_view, std::string>::first);
    return entry != dictionary_.end() ? &entry->second : nullptr;
  }

  [[nodiscard]] std::string rawText(std::string_view key) const {
    const std::string* const found = find(key);
    return found != nullptr ? *found : "";
  }

  /// The text of the dictionary, safe to print.
  [[nodiscard]] std::string text(std::string_view key) const { return terminalText(rawText(key)); }

  Ending askField(NotificationResponse& response) {
    const std::string value = rawText(kCFUserNotificationTextFieldValuesKey);
    std::string question = text(kCFUserNotificationTextFieldTitlesKey) + " ";
    if (!value.empty()) question.append("[").append(terminalText(value)).append("] ");
    print(question);
    std::string line;
    if (const Ending ending = readLine(line); ending != Ending::answered) return ending;
    response.fieldText = singleLineText(line.empty() ? value : line);
    const bool hasCheckBox = find(kCFUserNotificationCheckBoxTitlesKey) != nullptr;
    return hasCheckBox ? askCheckBox(response) : Ending::answered;
  }

  Ending askCheckBox(NotificationResponse& response) {
    const bool isTicked = (flags_ & firstCheckBoxFlag) != 0;
    bool yes = isTicked;
    const Ending ending = askYesOrNo({.text = text(kCFUserNotificationCheckBoxTitlesKey),
                                      .hint = isTicked ? words_.hintDefaultYes : words_.hint,
                                      .words = words_,
                                      .byDefault = isTicked ? std::optional(true) : std::nullopt},
                                     yes);
    if (yes) response.flags |= firstCheckBoxFlag;
    return ending;
  }

  Ending askButtons(NotificationResponse& response) {
    const std::string defaultTitle = text(kCFUserNotificationDefaultButtonTitleKey);
    const std::string alternateTitle = text(kCFUserNotificationAlternateButtonTitleKey);
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
    /// The meaning of an empty line; absent where it has none.
    std::optional<bool> byDefault;
  };

  /// Asks until there is an answer.
  Ending askYesOrNo(const YesOrNo& question, bool& yes) {
    for (;;) {
      print(question.text + " " + terminalText(question.hint) + " ");
      std::string line;
      if (const Ending ending = readLine(line); ending != Ending::answered) return ending;
      const std::string answer = plainWord(line);
      const auto meaning = answer.empty() ? question.byDefault : meaningOf(answer, question.words);
      if (meaning) return yes = *meaning, Ending::answered;
    }
  }

  /// One line without its end. The terminal hands out whole lines; a piece without an end was sent off by
  /// Ctrl-D.
  Ending readLine(std::string& line) {
    std::array<char, 4096> buffer;
    for (;;) {
      const ssize_t count = ::read(terminal_.get(), buffer.data(), buffer.size());
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return Ending::lost;
      if (count == 0) return Ending::cancelled;
      line.append(buffer.data(), static_cast<std::size_t>(count));
      if (line.ends_with('\n')) return line.pop_back(), Ending::answered;
    }
  }

  void print(std::string_view text) {
    while (!text.empty()) {
      const ssize_t count = ::write(terminal_.get(), text.data(), text.size());
      if (count < 0 && errno != EINTR) return;  // the read that follows finds out
      if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
    }
  }

  UniqueFd terminal_;
  std::uint32_t flags_;
  NotificationDictionary dictionary_;
  TerminalWords words_;
};

}  // namespace

std::unique_ptr<UserNotification> openTerminalNotification(std::uint32_t flags,
                                                           const NotificationDictionary& dictionary,
                                                           const TerminalWords& words) {
  UniqueFd terminal(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!terminal || ::tcgetpgrp(terminal.get()) != ::getpgrp()) return nullptr;
  return std::make_unique<TerminalNotification>(std::move(terminal), flags, dictionary, words);
}

}  // namespace quelto::platform
