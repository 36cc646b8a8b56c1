#pragma once

#include <poll.h>

#include <span>

#include "platform/children/caller_watch.h"
#include "platform/threads/deadline.h"

namespace quelto::platform {

/// Takes the question on screen away and lets no other come up: each is lost, or cancelled if it is an alert.
/// For a process that is about to end. Thread-safe.
void abandonQuestions();
[[nodiscard]] bool areQuestionsAbandoned();

/// Waits for an answer as long as somebody wants it: questions are not abandoned, and the caller is not gone,
/// whose end abandons them. One question; main thread.
class QuestionWatch {
 public:
  /// As `platform::pollUntil`; false also when nobody wants the answer any more.
  [[nodiscard]] bool pollUntil(std::span<pollfd> requests, const Deadline& deadline);

 private:
  CallerWatch caller_;
};

}  // namespace quelto::platform
