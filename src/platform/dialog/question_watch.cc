#include "platform/dialog/question_watch.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <vector>

#include "platform/files/descriptor_io.h"
#include "platform/files/unique_fd.h"

namespace quelto::platform {
namespace {

constinit std::atomic<bool> areAbandoned{false};

/// Readable from the moment that questions are abandoned. Never closed.
int abandonment() {
  static const auto* const event = new UniqueFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  return event->get();
}

}  // namespace

void abandonQuestions() {
  areAbandoned.store(true);
  ::eventfd_write(abandonment(), 1);
}

bool areQuestionsAbandoned() { return areAbandoned.load(); }

bool QuestionWatch::pollUntil(std::span<pollfd> requests, const Deadline& deadline) {
  for (;;) {
    std::vector<pollfd> all(requests.begin(), requests.end());
    all.push_back({.fd = abandonment(), .events = POLLIN, .revents = 0});
    caller_.addTo(all);
    if (!platform::pollUntil(all, deadline)) return false;
    const auto ours = std::span(all).first(requests.size());
    const auto watched = std::span(all).subspan(requests.size());
    if (watched.front().revents != 0) return false;
    if (caller_.isGone(watched.subspan(1))) {
      abandonQuestions();
      return false;
    }
    std::ranges::copy(ours, requests.begin());
    if (std::ranges::any_of(ours, [](const pollfd& request) { return request.revents != 0; })) return true;
  }
}

}  // namespace quelto::platform
